"""`guard`: what would end the proxy's intake or relay does not reach it; everything else does."""

import contextlib
import os
import platform
import time

import pytest
from harness import Application, Upstream, deadline_seconds, query, raw_id, wait_until
from harness.faults import as_user
from harness.proxy import DNS_FILE, HOSTMAP_FILE, Proxy, write_configuration

import ctl

HOST_MAP = b"a.lan:10.0.0.1\n"
SLEEP_CALL = {"x86_64": "230", "aarch64": "115"}[platform.machine()]  # clock_nanosleep
SERVER = "127.0.0.2"
SECONDS_OF_AGE = 0.2  # of a server file that is surely older than the proxy
RECEIVED_QUERY = b"func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 23 data from 127.0.0.1"
ENDS_INTAKE = {
    "nothing at all": b"",
    "shorter than a header": bytes(4) + b"\x00\x01" + bytes(5),
    "no question": query(1, "a.lan", counts=(0, 0, 0, 0)),
    "two questions": query(1, "a.lan", counts=(2, 0, 0, 0)),
    "header alone": query(1, "a.lan")[:12],
    "length byte alone": query(1, "a.lan")[:13],
    "root name": query(1, "a.lan")[:12] + bytes(5),
    "compression pointer": query(1, "a.lan")[:12] + b"\xc0\x0c\x00\x01\x00\x01",
    "NUL first in the name": query(1, "\0a.lan"),
}


def guard(*arguments, **options):
    result = ctl.run("guard", *arguments, **options)
    return result.returncode, result.stdout, result.stderr


@contextlib.contextmanager
def guarded(*arguments, dns=f"{SERVER}\n".encode(), hostmap=HOST_MAP):
    """A proxy whose server file is older than itself, and guarded."""
    write_configuration(dns, hostmap)
    wait_until(lambda: time.time() - os.stat(DNS_FILE).st_ctime > SECONDS_OF_AGE, "a server file of some age")
    with Proxy(dns=dns, hostmap=hostmap, keep_configuration=True) as proxy:
        proxy.trace.take_until(ctl.SERVING)
        assert guard(*arguments) == (0, "", "")
        yield proxy
        proxy.kill()


def wait_until_it_waits(process):
    """`guard` sleeps between two looks at a process that is no serving proxy yet, and at no other time."""
    with open(f"/proc/{process.pid}/syscall", encoding="ascii") as file:
        wait_until(lambda: file.seek(0) == 0 and file.read().split()[0] == SLEEP_CALL, "the wait for the proxy")


def answer_from_host_map(application):
    application.send(query(0x1234, "a.lan"))
    return application.receive()[-4:]


@contextlib.contextmanager
def asked_upstream(proxy):
    """The server's side, the application's, and the query with id 0 that the proxy has sent to the server."""
    with Upstream(SERVER) as server, Application() as application:
        application.send(query(0xABCD, "b.lan"))
        asked = server.receive()
        assert asked[:2] == raw_id(0)
        proxy.trace.take_available()
        yield server, application, asked


def relayed(application, server, asked):
    """Whether the server's answer reaches the application: nothing that came before has ended the relay."""
    server.send(asked[:2] + b"\x81\x80\x00\x01\x00\x01" + asked[8:])
    return application.receive()[:2] == b"\xab\xcd"


@pytest.mark.parametrize("datagram", ENDS_INTAKE.values(), ids=ENDS_INTAKE.keys())
def test_datagram_that_ends_intake_does_not_get_in(datagram):
    with guarded() as proxy, Application() as application:
        application.send(datagram)
        assert answer_from_host_map(application) == bytes([10, 0, 0, 1])
        assert len(proxy.threads()) == 3
        lines = proxy.trace.take_until(RECEIVED_QUERY)
        assert [line for line in lines if b"line:412" in line] == [RECEIVED_QUERY]


def test_name_cut_short_by_the_end_of_the_datagram_gets_in():
    with guarded(dns=b"") as proxy, Application() as application:
        application.send(query(0x1234, "a.lan")[:14])
        assert ctl.is_no_such_name(application.receive())
        assert len(proxy.threads()) == 3


def test_response_shorter_than_a_header_does_not_get_in():
    with guarded() as proxy, asked_upstream(proxy) as (server, application, asked):
        server.send(bytes(11))
        assert relayed(application, server, asked)
        assert proxy.process.poll() is None


def test_response_from_an_address_that_is_no_server_does_not_get_in():
    with guarded() as proxy, asked_upstream(proxy) as (server, application, asked):
        proxy.send_upstream(bytes(12), "127.0.0.3")
        assert relayed(application, server, asked)
        assert not [line for line in proxy.trace.take_available() if b"127.0.0.3" in line]


def test_response_from_another_port_of_a_server_gets_in():
    with guarded() as proxy, asked_upstream(proxy) as (server, application, asked):
        with Upstream(SERVER, port=5353) as other:
            other.send(asked[:2] + b"\x81\x80\x00\x01\x00\x01" + asked[8:], to=server.last_sender)
        assert application.receive()[:2] == b"\xab\xcd"


def test_response_from_another_port_of_an_address_for_servers_on_this_host_does_not_get_in(monkeypatch):
    monkeypatch.setitem(globals(), "SERVER", "127.0.53.1")
    with guarded(dns=b"127.0.53.1\n") as proxy, asked_upstream(proxy) as (server, application, asked):
        with Upstream("127.0.53.1", port=5353) as stranger:
            stranger.send(asked[:2] + b"\x81\x80\x00\x01\x00\x01" + bytes(30), to=server.last_sender)
        assert relayed(application, server, asked)


def test_all_senders_get_in_when_the_server_file_is_younger_than_the_proxy():
    with ctl.serving(dns=b"127.0.0.2\n", hostmap=HOST_MAP) as proxy:
        DNS_FILE.write_bytes(b"127.0.0.3\n")
        assert guard() == (0, "", "")
        with asked_upstream(proxy) as (server, application, asked):
            assert relayed(application, server, asked)


def test_second_guard_takes_the_first_ones_place():
    with guarded() as proxy, Application() as application:
        assert guard(proxy.pid) == (0, "", "")
        application.send(b"x")
        assert answer_from_host_map(application) == bytes([10, 0, 0, 1])


def test_removed_guard_keeps_nothing_out():
    with guarded() as proxy, Application() as application:
        threads = proxy.threads()
        assert guard("--remove") == (0, "", "")
        application.send(b"x")
        wait_until(lambda: proxy.threads() == threads[:-1], "the end of intake")


@contextlib.contextmanager
def held_up_while_it_reads_its_files(**options):
    """A proxy that runs and has not bound its port, and the end of its host map that it waits for."""
    write_configuration(dns=None, hostmap=None)
    os.mkfifo(HOSTMAP_FILE)
    with Proxy(keep_configuration=True, **options) as proxy:
        writer = os.open(HOSTMAP_FILE, os.O_WRONLY)  # returns when the proxy reads
        HOSTMAP_FILE.unlink()
        yield proxy, writer
        proxy.kill()


def assert_guarded():
    with Application() as application:
        application.send(b"x")
        assert answer_from_host_map(application) == bytes([10, 0, 0, 1])


def test_proxy_that_is_being_started_is_waited_for():
    with held_up_while_it_reads_its_files() as (proxy, writer):
        early = ctl.start("guard", str(proxy.pid))
        wait_until_it_waits(early)
        os.write(writer, HOST_MAP)
        os.close(writer)
        assert early.wait(deadline_seconds()) == 0
        assert_guarded()


def test_process_that_becomes_the_proxy_is_waited_for(tmp_path):
    write_configuration(dns=None, hostmap=HOST_MAP)
    start = tmp_path / "start"
    os.mkfifo(start)
    waiting = ("bash", "-c", 'read -r <"$0"; exec "$1"', str(start))
    with Proxy(keep_configuration=True, wrapper=waiting) as proxy:
        early = ctl.start("guard", str(proxy.pid))
        wait_until_it_waits(early)
        start.write_bytes(b"\n")
        assert early.wait(deadline_seconds()) == 0
        assert_guarded()
        proxy.kill()


def test_proxy_that_ends_before_it_binds_is_told_of():
    with held_up_while_it_reads_its_files() as (proxy, writer):
        early = ctl.start("guard", str(proxy.pid), stderr=-1, encoding="ascii")
        wait_until_it_waits(early)
        os.close(writer)  # nothing configured
        _, said = early.communicate(timeout=deadline_seconds())
        assert proxy.process.wait(deadline_seconds()) == 0
    assert said == f"dns_proxy_ctl: The proxy's sockets are not guarded: process {proxy.pid} has ended.\n"
    assert early.returncode == 1


def test_without_a_proxy():
    assert guard() == (1, "", "dns_proxy_ctl: The proxy's sockets are not guarded: no proxy runs.\n")


def test_process_that_is_no_proxy():
    says = f"dns_proxy_ctl: The proxy's sockets are not guarded: process {os.getpid()} is no proxy of this network.\n"
    assert guard(os.getpid()) == (1, "", says)


def test_ordinary_user_is_refused():
    with ctl.serving(hostmap=HOST_MAP):
        status, _, says = guard(wrapper=as_user())
    assert status == 1
    assert says == "dns_proxy_ctl: The proxy's sockets are not guarded: opendir: Permission denied.\n"


def test_status_tells_whether_it_is_on():
    def row(**options):
        lines = ctl.run("status", **options).stdout.splitlines()
        return next(line for line in lines if line.startswith("guard ")).split(maxsplit=1)[1]

    with ctl.serving(hostmap=HOST_MAP):
        assert row() == "off: a malformed datagram ends the intake"
        assert guard() == (0, "", "")
        assert row() == "on"
        assert row(wrapper=as_user()) == "not known; root can see"
        assert guard("--remove") == (0, "", "")
        assert row() == "off: a malformed datagram ends the intake"
