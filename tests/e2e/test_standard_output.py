"""The trace on each kind of standard output: visible when the service is idle, and never in its way."""

import os
import select
import signal

import pytest

import lines
from harness import Application, Proxy, Upstream, deadline_seconds, from_hex, query, wait_until
from harness.proxy import END_LINES

STARTED = """\
read dns: 127.0.0.2
read hostmap: a:10.0.0.1
dnsproxy: dns_size:1, hostmap_size:1
func: StartDnsSrv(line:118) bind 127.0.0.1:53 success
func: StartDnsSrv(line:124) Add host map: a -> 10.0.0.1
func: StartDnsSrv(line:136) Add KQ DNS to list: 127.0.0.2
func: StartDnsSrv(line:154) pthread_create g_thread_answer success
func: StartDnsSrv(line:161) pthread_create thread_query success
"""
HIT = """\
func: thread_query(line:282) ****QureyThread***: received dns request
func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 19 data from 127.0.0.1
func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :1
func: RecvAndProcessPacketsFromLocalApps(line:432) received dns request............a
func: RecvAndProcessPacketsFromLocalApps(line:464)FromAPP: the request domain is a, id:0
func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 0, bReasonIsTimeout:0
func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 0, DnsListSize:2
**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:1(0: dns, 1:hostmap)
func: TryNextDNSQueryMethod(line:669) find a from hostmap, ip:10.0.0.1, req id:0
"""
FORWARDED = """\
func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 1, DnsListSize:2
**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:0(0: dns, 1:hostmap)
"""
FILES = {"dns": b"127.0.0.2\n", "hostmap": b"a:10.0.0.1\n"}


def expect_full_service(proxy):
    """A host map hit, a relayed answer, a no-such-name response and a normal end, without a look at the trace."""
    with Upstream("127.0.0.2") as server, Application() as app:
        app.send(query(0x1234, "a"))
        assert app.receive()[:4] == from_hex("12 34 81 00")
        app.send(query(0x5678, "b"))
        assert server.receive() == query(b"\x01\x00", "b")
        server.send(from_hex("01 00 81 80 00 00 00 01 00 00 00 00 0A 09 08 07"))
        assert app.receive() == from_hex("56 78 81 80 00 00 00 01 00 00 00 00 0A 09 08 07")
        app.send(query(0x9ABC, "1.in-addr.arpa"))
        assert app.receive()[:4] == from_hex("9A BC 80 03")
        server.send(b"")
        proxy.expect_exit(0)


def test_file_shows_every_line_once_the_service_is_idle(tmp_path):
    trace = tmp_path / "trace"
    with open(trace, "wb") as output, Proxy(**FILES, stdout=output) as proxy, Application() as app:
        wait_until(lambda: trace.read_text() == STARTED, "the trace of the start in the file")
        app.send(query(1, "a"))
        assert app.receive()[-4:] == from_hex("0A 00 00 01")
        wait_until(lambda: trace.read_text() == STARTED + HIT, "the trace of the query in the file")
        app.send(query(1, "b"))
        wait_until(lambda: trace.read_text().endswith(FORWARDED), "the trace of the forwarded query in the file")
        proxy.wait_until_idle()
        proxy.send_upstream(bytes(11))
        proxy.expect_exit(0)
        assert trace.read_text().splitlines()[-5:] == END_LINES


def test_pipe_shows_every_line_once_the_service_is_idle():
    with Proxy(**FILES) as proxy, Application() as app:
        proxy.expect_trace(STARTED.splitlines())
        app.send(query(1, "a"))
        proxy.expect_trace(HIT.splitlines())


def test_terminal_shows_every_line_once_the_service_is_idle():
    keyboard, terminal = os.openpty()
    shown = b""
    wanted = (STARTED + HIT).replace("\n", "\r\n").encode()
    try:
        with Proxy(**FILES, stdout=terminal), Application() as app:
            os.set_blocking(keyboard, False)

            def read_up_to(text):
                nonlocal shown
                try:
                    shown += os.read(keyboard, 4096)
                except BlockingIOError:
                    pass
                return shown == text

            wait_until(lambda: read_up_to(wanted[: len(STARTED.replace("\n", "\r\n"))]), "the start")
            app.send(query(1, "a"))
            wait_until(lambda: read_up_to(wanted), "the query")
    finally:
        os.close(keyboard)
        os.close(terminal)


def test_full_disk_costs_trace_lines_only():
    with open("/dev/full", "wb") as full, Proxy(**FILES, stdout=full) as proxy:
        proxy.wait_until_bound()
        expect_full_service(proxy)


@pytest.mark.parametrize("descriptors", [[1], [0, 1], [0, 1, 2]])
def test_standard_output_closed_before_the_start_costs_trace_lines_only(descriptors):
    def close_them():
        for descriptor in descriptors:
            os.close(descriptor)

    with open(os.devnull, "wb") as unused, Proxy(**FILES, stdout=unused, before_exec=close_them) as proxy:
        proxy.wait_until_bound()
        expect_full_service(proxy)


def test_start_that_fails_without_a_standard_output_keeps_its_status():
    with open(os.devnull, "wb") as unused, Proxy(stdout=unused, before_exec=lambda: os.close(1)) as proxy:
        proxy.expect_exit(0)
    with open("/dev/full", "wb") as full, Application(port=53), Proxy(**FILES, stdout=full) as proxy:
        proxy.expect_exit(1)


def read_exactly(descriptor, size):
    collected = b""
    while len(collected) < size:
        assert select.select([descriptor], [], [], deadline_seconds())[0], f"only {len(collected)} of {size} bytes"
        collected += os.read(descriptor, size - len(collected))
    return collected


def test_service_ends_by_sigpipe_when_the_reader_of_its_pipe_goes_away():
    reading, writing = os.pipe()
    with Proxy(**FILES, stdout=writing) as proxy, Application() as app:
        os.close(writing)
        assert read_exactly(reading, len(STARTED)).decode() == STARTED
        os.close(reading)
        # Its lines are written by whichever worker has nothing to do first: before or behind the answer.
        app.send(query(1, "a"))
        assert proxy.process.wait(deadline_seconds()) == -signal.SIGPIPE


def test_slow_reader_gets_every_line_in_the_end():
    """More lines than the pipe holds: the service waits for its reader and loses nothing."""
    reading, writing = os.pipe()
    with Proxy(**FILES, stdout=writing), Application() as app:
        os.close(writing)
        assert read_exactly(reading, len(STARTED)).decode() == STARTED
        printed = []
        for number in range(150):
            app.send(query(number, "a"))
            printed += lines.intake(19, "a", number) + lines.host_map_hit(number, 2, "a", "10.0.0.1")
        text = "".join(f"{line}\n" for line in printed)
        assert len(text) > 65536
        assert read_exactly(reading, len(text)).decode() == text
        os.close(reading)
