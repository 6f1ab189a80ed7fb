"""The guard as installed: malformed datagrams on both sockets cost no restart and no query.

DNS_PROXY_ATTACK_SECONDS=60 has the attack go on for so long; its figures are printed with -s.
"""

import os

import pytest

from asking import CONFIGURED_SERVER, answer_now, end_intake, wait_for_answers
from attack import ask, attacks, server
from harness import deadline_seconds, query

PROXY = "dns_proxy_mac.service"
DROP_IN = "/etc/systemd/system/dns_proxy_mac.service.d/guard.conf"
ATTACKS_A_SECOND = 10000
QUERIES_A_SECOND = 1000
SECONDS = float(os.environ.get("DNS_PROXY_ATTACK_SECONDS", "3"))
NAMES = ["proxy.example", "elsewhere.example"]  # the host map's and the server's


@pytest.fixture
def system(booted):
    booted.run("systemctl", "start", PROXY)
    wait_for_answers()
    return booted


def guard_row(system):
    status = system.run("sh", "-c", "dns_proxy_ctl status; true")
    return next(line for line in status.splitlines() if line.startswith("guard ")).split(maxsplit=1)[1]


def test_proxy_is_guarded_from_its_start(system):
    assert guard_row(system) == "on"


def test_no_restart_and_no_query_lost_under_malformed_datagrams_on_both_sockets(system, record_property):
    before = system.value(PROXY, "MainPID")
    with server(CONFIGURED_SERVER):
        assert answer_now(query(1, "elsewhere.example"), deadline_seconds())  # the socket toward servers has its port from here on
        with attacks(ATTACKS_A_SECOND, SECONDS, CONFIGURED_SERVER) as sent:
            asked = ask(NAMES, QUERIES_A_SECOND, SECONDS)

    figures = f"{asked.answered} of {asked.queries} queries answered, slowest after {asked.slowest:.3f} s, during "
    figures += " and ".join(f"{count.value} malformed datagrams" for count in sent)
    print(figures)
    record_property("figures", figures)
    assert asked.answered == asked.queries > 0
    assert system.value(PROXY, "MainPID") == before
    assert system.value(PROXY, "NRestarts") == "0"
    assert all(count.value > 0 for count in sent)


def test_guard_is_turned_off_by_one_line(system):
    system.put(DROP_IN, "[Service]\nExecStartPost=\n")
    system.run("systemctl", "daemon-reload")
    system.run("systemctl", "restart", PROXY)
    wait_for_answers()
    assert guard_row(system) == "off: a malformed datagram ends the intake"
    end_intake()

    system.file(DROP_IN).unlink()
    system.run("systemctl", "daemon-reload")
    system.run("systemctl", "restart", PROXY)
    wait_for_answers()
    assert guard_row(system) == "on"


def test_service_runs_without_the_guard_where_the_system_refuses(system):
    """As in a container that may not trace other processes."""
    said = "The proxy's sockets are not guarded: pidfd_getfd: Operation not permitted."
    command = "setpriv --bounding-set=-sys_ptrace --inh-caps=-sys_ptrace /usr/bin/dns_proxy_ctl guard $MAINPID"
    system.put(DROP_IN, f"[Service]\nExecStartPost=\nExecStartPost=+-{command}\n")
    system.run("systemctl", "daemon-reload")
    system.run("systemctl", "restart", PROXY)
    wait_for_answers()

    system.run("journalctl", "--sync")
    journal = system.run("journalctl", "--unit=dns_proxy_mac.service", "--output=cat", "--no-pager")
    assert journal.count(said) == 1
    wait_for_answers()
    system.file(DROP_IN).unlink()
    system.run("systemctl", "daemon-reload")
