"""How the service ends: with the answer thread, on a datagram from above that is no message."""

import signal

import pytest

import lines
from harness import Application, Proxy, Upstream, from_hex, query

ENDING_SIGNALS = [signal.SIGTERM, signal.SIGINT, signal.SIGHUP]


@pytest.mark.parametrize("length", [0, 1, 11])
def test_short_datagram_on_the_upstream_socket_ends_the_service_with_status_0(length):
    with Proxy(dns=b"127.0.0.2\n") as proxy, Upstream("127.0.0.2") as server, Application() as app:
        proxy.expect_started()
        app.send(query(1, "a"))
        proxy.expect_trace(lines.intake(19, "a", 0) + lines.forwarded(0, 0, 1))
        server.receive()
        proxy.wait_until_idle()
        server.send(bytes(length))
        proxy.expect_trace(
            [
                "func: thread_answer(line:239) AnswerThread: received dns response.",
                f"func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv {length} data from 127.0.0.2",
                "func: RecvAndProcessPacketsFromDNSServer(line:327) FromDNSServer: do_answer: "
                f"answer too short: {length}, from: 127.0.0.2",
                "func: thread_answer(line:245) RecvAndProcessPacketsFromDNSServer failed, exit.",
                "func: main(line:90) StartDnsSrv success",
            ]
        )
        proxy.expect_exit(0)
        app.assert_nothing_received()


def test_anybody_who_knows_the_upstream_port_ends_the_service():
    with Proxy(dns=b"127.0.0.2\n") as proxy, Upstream("127.0.0.9") as stranger, Application() as app:
        proxy.expect_started()
        app.send(query(1, "a"))
        proxy.expect_trace(lines.intake(19, "a", 0) + lines.forwarded(0, 0, 1))
        proxy.wait_until_idle()
        stranger.send(b"x", to=("127.0.0.1", proxy.upstream_port()))
        proxy.expect_trace(
            lines.response(1, "127.0.0.9")
            + [
                "func: RecvAndProcessPacketsFromDNSServer(line:327) FromDNSServer: do_answer: "
                "answer too short: 1, from: 127.0.0.9",
                "func: thread_answer(line:245) RecvAndProcessPacketsFromDNSServer failed, exit.",
                "func: main(line:90) StartDnsSrv success",
            ]
        )
        proxy.expect_exit(0)


def test_queries_under_way_go_with_the_service():
    with Proxy(dns=b"127.0.0.2\n") as proxy, Upstream("127.0.0.2") as server, Application() as app:
        proxy.expect_started()
        for number in range(20):
            app.send(query(1, "a"))
            proxy.expect_trace(lines.intake(19, "a", number) + lines.forwarded(number, 0, 1))
            server.receive()
        proxy.end_normally()
        app.assert_nothing_received()


def test_service_whose_intake_has_ended_ends_the_same_way():
    with Proxy(dns=b"127.0.0.2\n") as proxy, Application() as app:
        proxy.expect_started()
        threads = proxy.threads()
        app.send(query(1, "a"))
        proxy.expect_trace(lines.intake(19, "a", 0) + lines.forwarded(0, 0, 1))
        app.send(from_hex("00"))
        proxy.expect_trace(
            [
                "func: thread_query(line:282) ****QureyThread***: received dns request",
                "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 1 data from 127.0.0.1",
                "func: RecvAndProcessPacketsFromLocalApps(line:415)FromAPP: query too short from 127.0.0.1",
            ]
        )
        proxy.expect_query_thread_end(threads)
        proxy.end_normally()


def test_port_is_free_again_after_the_end():
    for _ in range(3):
        with Proxy(dns=b"127.0.0.2\n") as proxy, Application() as app:
            proxy.expect_started()
            app.send(query(1, "a"))
            proxy.expect_trace(lines.intake(19, "a", 0) + lines.forwarded(0, 0, 1))
            proxy.end_normally()


@pytest.fixture
def default_signals():
    """A signal that whoever runs the tests ignores (nohup, a shell's background) is ignored by a child too."""
    before = {number: signal.signal(number, signal.SIG_DFL) for number in ENDING_SIGNALS}
    yield
    for number, handler in before.items():
        signal.signal(number, handler)


@pytest.mark.usefixtures("default_signals")
@pytest.mark.parametrize("number", ENDING_SIGNALS)
def test_signals_end_the_process_as_they_end_any(number):
    with Proxy(dns=b"127.0.0.2\n") as proxy:
        proxy.expect_started()
        proxy.process.send_signal(number)
        proxy.expect_exit(-number)


def test_stopped_and_continued_service_goes_on_with_what_has_come():
    with Proxy(dns=b"127.0.0.2\n") as proxy, Upstream("127.0.0.2") as server, Application() as app:
        proxy.expect_started()
        proxy.stop()
        app.send(query(0xABCD, "a"))
        server.assert_nothing_received()
        proxy.process.send_signal(signal.SIGCONT)
        proxy.expect_trace(lines.intake(19, "a", 0) + lines.forwarded(0, 0, 1))
        assert server.receive() == query(0, "a")
