"""The system refuses something: sockets, threads, a wait, a receive."""

import errno

import pytest

import lines
from harness import Application, Proxy, Upstream, binary_path, from_hex, query
from harness.faults import (
    APPLICATION_SOCKET,
    UPSTREAM_SOCKET,
    failing_receive,
    failing_select,
    failing_sockets,
    thread_limit,
)

BOUND = [
    "read dns: 127.0.0.2",
    "dnsproxy: dns_size:1, hostmap_size:0",
    "func: StartDnsSrv(line:118) bind 127.0.0.1:53 success",
    "func: StartDnsSrv(line:136) Add KQ DNS to list: 127.0.0.2",
]
STARTED = BOUND + [
    "func: StartDnsSrv(line:154) pthread_create g_thread_answer success",
    "func: StartDnsSrv(line:161) pthread_create thread_query success",
]


def test_sockets_that_cannot_be_created_are_status_1():
    with Proxy(dns=b"127.0.0.2\n", before_exec=failing_sockets(errno.EMFILE)) as proxy:
        proxy.expect_trace(
            [
                "read dns: 127.0.0.2",
                "dnsproxy: dns_size:1, hostmap_size:0",
                "func: StartDnsSrv(line:103) socket invalid",
                "func: main(line:86) StartDnsSrv failed",
            ]
        )
        proxy.expect_exit(1)


def test_answer_thread_that_cannot_be_created_is_status_1():
    with Proxy(dns=b"127.0.0.2\n", wrapper=thread_limit(1, binary_path())) as proxy:
        proxy.expect_trace(BOUND)
        proxy.expect_trace(
            [
                "func: StartDnsSrv(line:151) pthread_create g_thread_answer failed",
                "func: main(line:86) StartDnsSrv failed",
            ]
        )
        proxy.expect_exit(1)


@pytest.mark.parametrize("turn", range(20))
def test_query_thread_that_cannot_be_created_is_status_1_and_prints_each_line_once(turn):
    """The answer thread runs while the process ends: the trace must come out once and whole, every time."""
    with Proxy(dns=b"127.0.0.2\n", wrapper=thread_limit(2, binary_path())) as proxy:
        proxy.expect_trace(BOUND)
        proxy.expect_trace(
            [
                "func: StartDnsSrv(line:154) pthread_create g_thread_answer success",
                "func: StartDnsSrv(line:158) pthread_create thread_query failed",
                "func: main(line:86) StartDnsSrv failed",
            ]
        )
        proxy.expect_exit(1)


def test_receive_that_fails_on_the_local_socket_ends_the_intake_only():
    failing = failing_receive(APPLICATION_SOCKET, errno.EIO)
    with Proxy(dns=b"127.0.0.2\n", before_exec=failing) as proxy, Application() as app:
        proxy.expect_started()
        threads = proxy.threads()
        app.send(query(1, "a"))
        proxy.expect_trace(
            [
                "func: thread_query(line:282) ****QureyThread***: received dns request",
                "func: RecvAndProcessPacketsFromLocalApps(line:398)"
                "RecvAndProcessPacketsFromLocalApps: recv nothing...",
            ]
        )
        proxy.expect_query_thread_end(threads)


def test_receive_that_fails_on_the_upstream_socket_ends_the_service():
    failing = failing_receive(UPSTREAM_SOCKET, errno.EIO)
    with Proxy(dns=b"127.0.0.2\n", before_exec=failing) as proxy:
        with Upstream("127.0.0.2") as server, Application() as app:
            proxy.expect_started()
            app.send(query(1, "a"))
            proxy.expect_trace(lines.intake(19, "a", 0) + lines.forwarded(0, 0, 1))
            server.receive()
            proxy.wait_until_idle()
            server.send(from_hex("00 00 81 80 00 00 00 01 00 00 00 00 0A 09 08 07"))
            proxy.expect_trace(
                [
                    "func: thread_answer(line:239) AnswerThread: received dns response.",
                    "func: RecvAndProcessPacketsFromDNSServer(line:314) "
                    "RecvAndProcessPacketsFromDNSServer: recv nothing...",
                    "func: thread_answer(line:245) RecvAndProcessPacketsFromDNSServer failed, exit.",
                    "func: main(line:90) StartDnsSrv success",
                ]
            )
            proxy.expect_exit(0)


def expect_start_with_lines_of_threads_between(proxy, last, possible):
    """The start's lines in order up to `last`; a thread may be ahead of the one that starts it, so that its
    lines, each at most once, stand anywhere between. Returns those that came."""
    taken = [line.decode() for line in proxy.trace.take_until(last)]
    came = [line for line in taken if line in possible]
    assert len(came) == len(set(came))
    assert [line for line in taken if line not in possible] == STARTED + [last] * (last not in STARTED)
    return came


def test_wait_that_fails_on_the_upstream_socket_ends_the_service():
    """The query thread may find its socket closed already, or never come to look."""
    with Proxy(dns=b"127.0.0.2\n", before_exec=failing_select(UPSTREAM_SOCKET, errno.ENOMEM)) as proxy:
        failed = "func: thread_answer(line:230) AnswerThread: select failed. exit."
        closed = "func: thread_query(line:273) QureyThread: select failed. exit"
        ended = "func: main(line:90) StartDnsSrv success"
        came = expect_start_with_lines_of_threads_between(proxy, ended, [failed, closed])
        assert failed in came
        proxy.expect_exit(0)


def test_wait_that_fails_on_the_local_socket_ends_the_intake_only():
    with Proxy(dns=b"127.0.0.2\n", before_exec=failing_select(APPLICATION_SOCKET, errno.ENOMEM)) as proxy:
        failed = "func: thread_query(line:273) QureyThread: select failed. exit"
        came = expect_start_with_lines_of_threads_between(proxy, STARTED[-1], [failed])
        if not came:
            proxy.expect_trace([failed])
        assert proxy.process.poll() is None
