"""`status`: how the proxy is, in a few lines."""

import os
import re
import socket

import pytest
from harness import Application, wait_until
from harness.faults import as_user
from harness.namespace import replace_file, where_there_is_ipv6
from harness.proxy import write_configuration

import ctl

# The proxy and its servers have a second to answer.
pytestmark = pytest.mark.in_its_time

HOST_MAP = b"a.lan:10.0.0.1\n"


@pytest.fixture(scope="module")
def resolver_file_shown(tmp_path_factory):
    """A file that everybody here sees as the host's resolver file."""
    source = tmp_path_factory.mktemp("resolver") / "resolv.conf"
    source.write_text("")
    source.chmod(0o644)
    with replace_file("/etc/resolv.conf", source):
        yield source


@pytest.fixture(autouse=True)
def resolver_file(resolver_file_shown):
    resolver_file_shown.write_text("nameserver 127.0.0.1\n")
    return resolver_file_shown


def status(**options):
    """What is printed, with the numbers that differ from run to run taken out, and the exit status."""
    result = ctl.run("status", **options)
    assert result.stderr == ""
    text = re.sub(r"process \d+", "process N", result.stdout)
    text = re.sub(r"for \d+ seconds?", "for N seconds", text)
    text = re.sub(r"\d+\.\d\d ms", "N ms", text)
    return text, result.returncode


def rows(text):
    return {line[:13].rstrip(): line[14:] for line in text.splitlines()}


def test_all_is_well():
    with ctl.answering("127.0.0.2", lambda datagram: [ctl.empty_response(datagram)]):
        with ctl.serving(dns=b"127.0.0.2\n", hostmap=HOST_MAP):
            text, code = status()
    assert text == """\
proxy         running as process N for N seconds
workers       both alive
127.0.0.1:53  held by the proxy
guard         off: a malformed datagram ends the intake
resolver      /etc/resolv.conf points at the proxy
host          asks the proxy, but not by dns_proxy_ctl on
servers       127.0.0.2 answers in N ms
host map      1 entry
check         nothing to report
probe         answered in N ms
"""
    assert code == 0


def test_nothing_runs():
    write_configuration(dns=b"192.0.2.1\n\n", hostmap=b"A.lan:10.0.0.1\nb.lan\n")
    text, code = status()
    assert text == """\
proxy         not running
127.0.0.1:53  free
resolver      /etc/resolv.conf points at the proxy
host          asks the proxy, but not by dns_proxy_ctl on
servers       192.0.2.1 can't be asked (Network is unreachable); a line is no address
host map      2 entries
check         2 errors, 1 warning, see dns_proxy_ctl check
probe         nobody listens there
"""
    assert code == 1


def test_intake_has_ended():
    with ctl.serving(hostmap=HOST_MAP) as proxy, Application() as application:
        threads = proxy.threads()
        application.send(b"x")
        wait_until(lambda: len(proxy.threads()) < len(threads), "the end of intake")
        text, code = status()
    assert rows(text)["proxy"] == "running as process N for N seconds"
    assert rows(text)["workers"] == "the intake of queries has ended: nothing can be asked until a restart"
    assert rows(text)["127.0.0.1:53"] == "held by the proxy"
    assert rows(text)["probe"] == "no answer within 1000 ms"
    assert code == 1


@pytest.mark.parametrize(
    ("family", "address"),
    [(socket.AF_INET, "127.0.0.1"), (socket.AF_INET, "0.0.0.0"), *where_there_is_ipv6((socket.AF_INET6, "::"))],
)
def test_port_held_by_another_program(family, address):
    write_configuration(dns=b"127.0.0.2\n", hostmap=None)
    with socket.socket(family, socket.SOCK_DGRAM) as holder:
        holder.bind((address, 53))
        with open("/proc/self/comm", encoding="ascii") as file:
            name = file.read().strip()
        result = ctl.run("status")
    assert rows(result.stdout)["127.0.0.1:53"] == f"held by {name}, process {os.getpid()}"
    assert rows(result.stdout)["proxy"] == "not running"
    assert result.returncode == 1


def test_holder_that_an_ordinary_user_can_not_see():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as holder:
        holder.bind(("127.0.0.1", 53))
        text, code = status(wrapper=as_user())
    assert rows(text)["127.0.0.1:53"] == "held by a process of user 0; root can see which"
    assert code == 1


def test_ordinary_user_sees_that_the_proxy_is_well():
    with ctl.serving(hostmap=HOST_MAP):
        text, code = status(wrapper=as_user())
    assert rows(text)["workers"] == "both alive"
    assert rows(text)["127.0.0.1:53"] == "held by the proxy"
    assert code == 0


@pytest.mark.parametrize(
    ("content", "words"),
    [
        ("# nameserver 127.0.0.1\nnameserver 192.0.2.1\n", "/etc/resolv.conf points at 192.0.2.1, not at the proxy"),
        ("nameserver 127.0.0.53\nnameserver 127.0.0.1\n", "/etc/resolv.conf points at 127.0.0.53, not at the proxy"),
        ("search lan\n\tnameserver\t127.0.0.1 # ours\n", "/etc/resolv.conf points at the proxy"),
        ("search lan\n", "/etc/resolv.conf names no server, so the local host is asked"),
        ("nameserver \x1b[2J\n", "/etc/resolv.conf points at \\027[2J, not at the proxy"),
    ],
)
def test_where_the_resolver_points(resolver_file, content, words):
    resolver_file.write_text(content)
    assert rows(status()[0])["resolver"] == words


def test_resolver_file_that_may_not_be_read(resolver_file):
    resolver_file.chmod(0)
    try:
        assert rows(status(wrapper=as_user())[0])["resolver"] == "/etc/resolv.conf can't be read"
    finally:
        resolver_file.chmod(0o644)
