"""The host as installed asks the proxy and is put back; a proxy that stays away leaves it its names."""

import os

import pytest

from asking import CONFIGURED_SERVER, wait_for_answers
from attack import server
from harness import wait_until
from system_copy import Ended

PROXY = "dns_proxy_mac.service"
KEEPER = "dns_proxy_mac-host.service"
RESOLVER = "/etc/resolv.conf"
BEFORE = "search home.lan\nnameserver 192.0.2.1\noptions edns0 timeout:3\n"
ASK_FOR_MAPPED_NAME = "import socket; print(socket.getaddrinfo('proxy.example', 0, socket.AF_INET)[0][4][0])"
OURS = """\
# Written by dns_proxy_ctl on; dns_proxy_ctl off puts back what was here.
nameserver 127.0.0.1
search home.lan
options timeout:3
"""

# The proxy has a second to answer when the host is turned on.
pytestmark = pytest.mark.in_its_time


@pytest.fixture
def system(booted):
    """The proxy serves, a server answers it, and the host has not been turned on."""
    booted.run("systemctl", "start", PROXY)
    wait_for_answers()
    booted.run("dns_proxy_ctl", "off")
    booted.put(RESOLVER, BEFORE)
    booted.file(RESOLVER).chmod(0o640)
    os.utime(booted.file(RESOLVER), (1, 1))
    with server(CONFIGURED_SERVER):
        yield booted


def resolver_file(system):
    return system.file(RESOLVER).read_text()


def is_as_before(system):
    status = system.file(RESOLVER).stat()
    return (resolver_file(system), oct(status.st_mode), status.st_mtime) == (BEFORE, "0o100640", 1)


def host_row(system):
    status = system.run("sh", "-c", "dns_proxy_ctl status; true")
    return next(line for line in status.splitlines() if line.startswith("host ")).split(maxsplit=1)[1]


def turn_on(system):
    system.run("dns_proxy_ctl", "on")
    wait_until(lambda: system.state(KEEPER) == "active", "what keeps the host answered")


def test_host_asks_the_proxy_and_is_put_back_byte_for_byte(system):
    assert host_row(system) == "off"
    turn_on(system)
    assert resolver_file(system) == OURS
    assert host_row(system) == "on: asks the proxy, by dns_proxy_ctl on"
    assert system.run("/usr/bin/python3", "-c", ASK_FOR_MAPPED_NAME) == "10.0.0.1\n"

    system.run("dns_proxy_ctl", "off")
    assert is_as_before(system)
    assert host_row(system) == "off"
    assert not system.file("/var/lib/dns_proxy_mac/host").exists()
    assert system.state(KEEPER) == "inactive"


def test_host_is_not_turned_on_while_the_proxy_does_not_answer(system):
    system.run("systemctl", "stop", PROXY)
    with pytest.raises(Ended, match="The proxy does not answer .nobody listens there.: nothing is changed"):
        system.run("dns_proxy_ctl", "on")
    assert is_as_before(system)


def test_host_does_without_a_proxy_that_stays_away_and_asks_it_again_when_it_is_back(system):
    turn_on(system)
    system.run("systemctl", "stop", PROXY)
    wait_until(lambda: is_as_before(system), "the host to do without the proxy")
    # It is told when all is put back.
    away = "off for now: the proxy did not answer; on again when it does"
    wait_until(lambda: host_row(system) == away, "the status to say so")

    system.run("systemctl", "start", PROXY)
    wait_until(lambda: resolver_file(system) == OURS, "the host to ask the proxy again")
    wait_until(lambda: host_row(system).startswith("on: "), "the status to say so")


def test_host_stays_on_where_that_is_turned_off(system):
    system.run("systemctl", "mask", "--now", KEEPER)
    system.run("dns_proxy_ctl", "on")
    assert system.state(KEEPER) == "inactive"
    assert resolver_file(system) == OURS
    system.run("systemctl", "unmask", KEEPER)


def test_upgrade_leaves_the_host_on_and_off_puts_it_back(system, package):
    turn_on(system)
    system.run("dpkg", "--install", system.take(package))
    wait_for_answers()
    # An upgrade that takes longer than ten seconds has the host do without the proxy meanwhile.
    wait_until(lambda: resolver_file(system) == OURS, "the host to ask the proxy")
    wait_until(lambda: system.state(KEEPER) == "active", "what keeps the host answered")

    system.run("dns_proxy_ctl", "off")
    assert is_as_before(system)


def test_removal_puts_the_host_back(system):
    turn_on(system)
    system.run("dpkg", "--remove", "dns-proxy-mac")
    assert is_as_before(system)
    assert not system.file("/var/lib/dns_proxy_mac").exists()
