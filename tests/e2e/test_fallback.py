"""From one method to the next, and sends that fail."""

import contextlib

import lines
from harness import Application, Proxy, Upstream, from_hex, query
from harness.faults import send_from_port_zero

NO_ANSWER = "81 83 00 01 00 00 00 00 00 00"
QUESTION = "01 61 00 00 01 00 01"


def test_each_server_is_asked_in_file_order_until_one_answers():
    servers = ["127.0.0.5", "127.0.0.3", "127.0.0.4"]
    with Proxy(dns="".join(f"{server}\n" for server in servers).encode()) as proxy, Application() as app:
        proxy.expect_started()
        with contextlib.ExitStack() as stack:
            first, second, third = (stack.enter_context(Upstream(server)) for server in servers)
            app.send(query(0xABCD, "a"))
            proxy.expect_trace(lines.intake(19, "a", 0) + lines.forwarded(0, 0, 3))
            assert first.receive() == query(0, "a")
            first.send(from_hex(f"00 00 {NO_ANSWER}"))
            proxy.expect_trace(lines.without_answer(12, "127.0.0.5", 0, "a") + lines.forwarded(0, 1, 3))
            assert second.receive() == query(0, "a")
            second.send(from_hex(f"00 00 {NO_ANSWER}"))
            proxy.expect_trace(lines.without_answer(12, "127.0.0.3", 0, "a") + lines.forwarded(0, 2, 3))
            assert third.receive() == query(0, "a")
            third.send(from_hex("00 00 81 80 00 00 00 01 00 00 00 00 0A 09 08 07"))
            proxy.expect_trace(lines.relayed(16, "127.0.0.4", 0, "a", "10.9.8.7"))
            assert app.receive() == from_hex("AB CD 81 80 00 00 00 01 00 00 00 00 0A 09 08 07")


def test_the_same_server_listed_twice_is_asked_twice():
    with Proxy(dns=b"127.0.0.2\n127.0.0.2\n") as proxy, Upstream("127.0.0.2") as server, Application() as app:
        proxy.expect_started()
        app.send(query(0xABCD, "a"))
        proxy.expect_trace(lines.intake(19, "a", 0) + lines.forwarded(0, 0, 2))
        assert server.receive() == query(0, "a")
        server.send(from_hex(f"00 00 {NO_ANSWER}"))
        proxy.expect_trace(lines.without_answer(12, "127.0.0.2", 0, "a") + lines.forwarded(0, 1, 2))
        assert server.receive() == query(0, "a")


def test_queries_move_on_independently():
    with Proxy(dns=b"127.0.0.2\n127.0.0.3\n") as proxy, Application() as app:
        proxy.expect_started()
        with Upstream("127.0.0.2") as server_a, Upstream("127.0.0.3") as server_b:
            app.send(query(0x1111, "a"))
            proxy.expect_trace(lines.intake(19, "a", 0) + lines.forwarded(0, 0, 2))
            app.send(query(0x2222, "b"))
            proxy.expect_trace(lines.intake(19, "b", 1) + lines.forwarded(1, 0, 2))
            assert (server_a.receive()[:2], server_a.receive()[:2]) == (from_hex("00 00"), from_hex("01 00"))
            server_a.send(from_hex(f"00 00 {NO_ANSWER}"))
            proxy.expect_trace(lines.without_answer(12, "127.0.0.2", 0, "a") + lines.forwarded(0, 1, 2))
            assert server_b.receive()[:2] == from_hex("00 00")
            server_a.send(from_hex("01 00 81 80 00 00 00 01 00 00 00 00 01 01 01 01"))
            proxy.expect_trace(lines.relayed(16, "127.0.0.2", 1, "b", "1.1.1.1"))
            assert app.receive()[:2] == from_hex("22 22")


def test_failed_send_to_a_server_ends_the_query_without_an_answer():
    """The first server cannot be reached from here (no route); the second is not asked."""
    with Proxy(dns=b"192.0.2.1\n127.0.0.3\n") as proxy, Upstream("127.0.0.3") as server, Application() as app:
        proxy.expect_started()
        app.send(query(0xABCD, "a"))
        proxy.expect_trace(lines.intake(19, "a", 0))
        proxy.expect_trace(
            [
                "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 0, bReasonIsTimeout:0",
                "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 0, DnsListSize:2",
                "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:0(0: dns, 1:hostmap)",
                "TryNextDNSQueryMethod: id: 0,sendto failed: 101",
            ]
        )
        app.assert_nothing_received()
        server.assert_nothing_received()
        proxy.send_upstream(from_hex("00 00 81 80 00 00 00 01 00 00 00 00 0A 09 08 07"), address="127.0.0.3")
        proxy.expect_trace(lines.not_found(16, "127.0.0.3", 0))


def test_server_line_that_is_no_address_fails_at_its_turn():
    """Such a line stands for the all-ones address, to which nothing can be sent."""
    with Proxy(dns=b"127.0.0.2\n\n") as proxy, Upstream("127.0.0.2") as server, Application() as app:
        proxy.expect_started()
        app.send(query(0xABCD, "a"))
        proxy.expect_trace(lines.intake(19, "a", 0) + lines.forwarded(0, 0, 2))
        server.receive()
        server.send(from_hex(f"00 00 {NO_ANSWER}"))
        proxy.expect_trace(lines.without_answer(12, "127.0.0.2", 0, "a") + lines.forwarded(0, 1, 2))
        proxy.expect_trace(["TryNextDNSQueryMethod: id: 0,sendto failed: 101"])
        app.assert_nothing_received()
        server.send(from_hex(f"00 00 {NO_ANSWER}"))
        proxy.expect_trace(lines.not_found(12, "127.0.0.2", 0))


def test_host_map_answer_that_cannot_be_sent_ends_its_query_only():
    with Proxy(hostmap=b"a:10.0.0.1\n") as proxy, Application() as app:
        proxy.expect_started()
        send_from_port_zero(query(0xABCD, "a"))
        proxy.expect_trace(lines.intake(19, "a", 0) + lines.host_map_hit(0, 1, "a", "10.0.0.1"))
        proxy.expect_trace(["func: TryNextDNSQueryMethod(line:673)DNS service: sendto for host map failed"])
        app.send(query(0x1234, "a"))
        proxy.expect_trace(lines.intake(19, "a", 1) + lines.host_map_hit(1, 1, "a", "10.0.0.1"))
        assert app.receive()[:2] == from_hex("12 34")


def test_no_such_name_response_that_cannot_be_sent_ends_its_query_only():
    with Proxy(hostmap=b"a:10.0.0.1\n") as proxy, Application() as app:
        proxy.expect_started()
        send_from_port_zero(query(0xABCD, "b"))
        proxy.expect_trace(lines.intake(19, "b", 0) + lines.host_map_tried(0, 1) + lines.exhausted(0, 1, 1))
        proxy.expect_trace(["func: TryNextDNSQueryMethod(line:703)TryNextDNSQueryMethod: id: 0, sendto failed"])
        app.send(query(0x1234, "b"))
        proxy.expect_trace(lines.intake(19, "b", 1) + lines.host_map_tried(1, 1) + lines.exhausted(1, 1, 1))
        assert app.receive()[:4] == from_hex("12 34 80 03")


def test_no_such_name_response_from_the_answer_thread_that_cannot_be_sent():
    with Proxy(dns=b"127.0.0.2\n") as proxy, Upstream("127.0.0.2") as server:
        proxy.expect_started()
        send_from_port_zero(query(0xABCD, "b"))
        proxy.expect_trace(lines.intake(19, "b", 0) + lines.forwarded(0, 0, 1))
        server.receive()
        server.send(from_hex(f"00 00 {NO_ANSWER}"))
        proxy.expect_trace(lines.without_answer(12, "127.0.0.2", 0, "b") + lines.exhausted(0, 1, 1))
        proxy.expect_trace(["func: TryNextDNSQueryMethod(line:703)TryNextDNSQueryMethod: id: 0, sendto failed"])


def test_server_that_is_not_there_leaves_the_query_waiting():
    """A closed port above is no error: no answer comes, and later queries are served."""
    with Proxy(dns=b"127.0.0.2\n", hostmap=b"a:10.0.0.1\n") as proxy, Application() as app:
        proxy.expect_started()
        app.send(query(0x1111, "b"))
        proxy.expect_trace(lines.intake(19, "b", 0) + lines.host_map_tried(0, 2) + lines.forwarded(0, 1, 2))
        app.send(query(0x2222, "a"))
        proxy.expect_trace(lines.intake(19, "a", 1) + lines.host_map_hit(1, 2, "a", "10.0.0.1"))
        assert app.receive()[:2] == from_hex("22 22")
        proxy.send_upstream(from_hex(f"00 00 81 80 00 01 00 01 00 00 00 00 {QUESTION}"), address="127.0.0.2")
        proxy.expect_trace(lines.relayed(19, "127.0.0.2", 0, "b", "0.1.0.1"))
        assert app.receive() == from_hex(f"11 11 81 80 00 01 00 01 00 00 00 00 {QUESTION}")
