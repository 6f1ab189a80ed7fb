"""The ids that the proxy gives: in sequence, in the machine's byte order, and over again after 65536."""

import lines
from harness import Application, Proxy, Upstream, from_hex, query, raw_id

IDS = 65536
AT_ONCE = 64


def test_ids_are_given_in_sequence_from_zero():
    with Proxy(dns=b"127.0.0.2\n") as proxy, Upstream("127.0.0.2") as server, Application() as app:
        proxy.expect_started()
        for number, on_the_wire in enumerate(["00 00", "01 00", "02 00", "03 00"]):
            app.send(query(0xABCD, "a"))
            proxy.expect_trace(lines.intake(19, "a", number) + lines.forwarded(number, 0, 1))
            assert server.receive()[:2] == from_hex(on_the_wire)


def test_own_answers_take_ids_too():
    files = {"dns": b"127.0.0.2\n", "hostmap": b"a:10.0.0.1\n"}
    with Proxy(**files) as proxy, Upstream("127.0.0.2") as server, Application() as app:
        proxy.expect_started()
        app.send(query(0xABCD, "a"))
        proxy.expect_trace(lines.intake(19, "a", 0) + lines.host_map_hit(0, 2, "a", "10.0.0.1"))
        app.send(query(0xABCD, "1.in-addr.arpa"))
        proxy.expect_trace(lines.intake(32, "1.in-addr.arpa", 1) + lines.exhausted(1, 159, 2))
        app.send(query(0xABCD, "b"))
        proxy.expect_trace(lines.intake(19, "b", 2) + lines.host_map_tried(2, 2) + lines.forwarded(2, 1, 2))
        assert server.receive()[:2] == from_hex("02 00")


def take_on_from_the_host_map(proxy, app, numbers):
    """One query of "a" for each of these ids, answered from the host map."""
    for start in range(numbers.start, numbers.stop, AT_ONCE):
        batch = range(start, min(start + AT_ONCE, numbers.stop))
        for number in batch:
            app.send(query(number, "a"))
        for number in batch:
            assert app.receive()[:2] == number.to_bytes(2, "big")
        proxy.expect_trace(
            [
                line
                for number in batch
                for line in lines.intake(19, "a", number) + lines.host_map_hit(number, 2, "a", "10.0.0.1")
            ]
        )


def test_query_whose_id_is_still_taken_is_never_answered_and_advances_the_one_that_has_it():
    files = {"dns": b"127.0.0.2\n", "hostmap": b"a:10.0.0.1\n"}
    with Proxy(**files) as proxy, Upstream("127.0.0.2") as server:
        with Application() as stuck, Application() as others, Application() as unlucky:
            proxy.expect_started()
            stuck.send(query(0x1111, "stuck"))
            proxy.expect_trace(lines.intake(23, "stuck", 0) + lines.host_map_tried(0, 2) + lines.forwarded(0, 1, 2))
            assert server.receive() == query(0, "stuck")

            take_on_from_the_host_map(proxy, others, range(1, IDS))

            unlucky.send(query(0x2222, "unlucky"))
            proxy.expect_trace(lines.intake(25, "unlucky", 0) + lines.forwarded(0, 1, 2))
            assert server.receive() == query(0, "stuck")

            take_on_from_the_host_map(proxy, others, range(1, 2))
            server.send(from_hex("00 00 81 80 00 00 00 01 00 00 00 00 0A 09 08 07"))
            proxy.expect_trace(lines.relayed(16, "127.0.0.2", 0, "stuck", "10.9.8.7"))
            assert stuck.receive() == from_hex("11 11 81 80 00 00 00 01 00 00 00 00 0A 09 08 07")
            server.send(from_hex("00 00 81 80 00 00 00 01 00 00 00 00 0A 09 08 07"))
            proxy.expect_trace(lines.not_found(16, "127.0.0.2", 0))
            unlucky.assert_nothing_received()


def test_many_queries_wait_at_once_and_are_answered_in_any_order():
    """Answered in the opposite order, each gets its own."""
    count = 300
    with Proxy(dns=b"127.0.0.2\n") as proxy, Upstream("127.0.0.2") as server, Application() as app:
        proxy.expect_started()
        for number in range(count):
            app.send(query(number + 1000, "a"))
            proxy.expect_trace(lines.intake(19, "a", number) + lines.forwarded(number, 0, 1))
            assert server.receive()[:2] == raw_id(number)
        for number in reversed(range(count)):
            server.send(raw_id(number) + from_hex("81 80 00 00 00 01 00 00 00 00 0A 09 08 07"))
            proxy.expect_trace(lines.relayed(16, "127.0.0.2", number, "a", "10.9.8.7"))
            assert app.receive()[:2] == (number + 1000).to_bytes(2, "big")
