"""What becomes of a datagram from above: relayed, counted as no answer, or dropped."""

import contextlib

import pytest

import lines
from harness import Application, Proxy, Upstream, from_hex, query
from harness.faults import send_from_port_zero

QUESTION = "01 61 00 00 01 00 01"
RECORD = "C0 0C 00 01 00 01 00 00 00 3C 00 04 0A 09 08 07"


@contextlib.contextmanager
def one_query_waiting(dns=b"127.0.0.2\n"):
    """The application with id AB CD has asked for "a", and 127.0.0.2 has its query, which is number 0."""
    with Proxy(dns=dns) as proxy, Upstream("127.0.0.2") as server, Application() as app:
        proxy.expect_started()
        app.send(from_hex(f"AB CD 01 00 00 01 00 00 00 00 00 00 {QUESTION}"))
        proxy.expect_trace(lines.intake(19, "a", 0) + lines.forwarded(0, 0, dns.count(b"\n")))
        assert server.receive() == from_hex(f"00 00 01 00 00 01 00 00 00 00 00 00 {QUESTION}")
        yield proxy, server, app


def test_second_copy_of_a_relayed_answer_is_dropped():
    with one_query_waiting() as (proxy, server, app):
        answer = from_hex(f"00 00 81 80 00 01 00 01 00 00 00 00 {QUESTION} {RECORD}")
        server.send(answer)
        proxy.expect_trace(
            [
                "func: thread_answer(line:239) AnswerThread: received dns response.",
                "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 35 data from 127.0.0.2",
                "func: RecvAndProcessPacketsFromDNSServer(line:367) domain a received answer 10.9.8.7 "
                "from 127.0.0.2, we have to delete id:0",
            ]
        )
        assert app.receive() == from_hex(f"AB CD 81 80 00 01 00 01 00 00 00 00 {QUESTION} {RECORD}")
        server.send(answer)
        proxy.expect_trace(
            [
                "func: thread_answer(line:239) AnswerThread: received dns response.",
                "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 35 data from 127.0.0.2",
                "func: RecvAndProcessPacketsFromDNSServer(line:338) rsp from: 127.0.0.2, id: 0, request not found",
            ]
        )
        app.assert_nothing_received()


ANSWER_COUNTS = ["00 01", "00 7F", "01 00", "FF 00", "80 01", "FF 7F"]
NO_ANSWER_COUNTS = ["00 00", "00 80", "00 FF", "01 80", "FF FF"]


@pytest.mark.parametrize("count", ANSWER_COUNTS)
def test_answer_count_with_a_low_byte_below_0x80_is_relayed(count):
    with one_query_waiting() as (proxy, server, app):
        server.send(from_hex(f"00 00 81 80 00 01 {count} 00 00 00 00 {QUESTION} {RECORD}"))
        proxy.expect_trace(lines.relayed(35, "127.0.0.2", 0, "a", "10.9.8.7"))
        assert app.receive() == from_hex(f"AB CD 81 80 00 01 {count} 00 00 00 00 {QUESTION} {RECORD}")


@pytest.mark.parametrize("count", NO_ANSWER_COUNTS)
def test_answer_count_of_zero_or_with_a_low_byte_from_0x80_counts_as_no_answer(count):
    with one_query_waiting(b"127.0.0.2\n127.0.0.3\n") as (proxy, server, app), Upstream("127.0.0.3") as next_server:
        server.send(from_hex(f"00 00 81 80 00 01 {count} 00 00 00 00 {QUESTION} {RECORD}"))
        proxy.expect_trace(lines.without_answer(35, "127.0.0.2", 0, "a") + lines.forwarded(0, 1, 2))
        assert next_server.receive() == from_hex(f"00 00 01 00 00 01 00 00 00 00 00 00 {QUESTION}")
        app.assert_nothing_received()


@pytest.mark.parametrize("flags", ["81 83", "81 82", "81 85", "00 00", "83 80", "FF FF"])
def test_response_with_answers_is_relayed_whatever_its_flags(flags):
    with one_query_waiting() as (proxy, server, app):
        server.send(from_hex(f"00 00 {flags} 00 01 00 01 00 00 00 00 {QUESTION} {RECORD}"))
        proxy.expect_trace(lines.relayed(35, "127.0.0.2", 0, "a", "10.9.8.7"))
        assert app.receive() == from_hex(f"AB CD {flags} 00 01 00 01 00 00 00 00 {QUESTION} {RECORD}")


@pytest.mark.parametrize("flags", ["81 80", "81 83", "81 82", "81 85"])
def test_response_without_answers_moves_on_whatever_its_flags(flags):
    with one_query_waiting() as (proxy, server, app):
        server.send(from_hex(f"00 00 {flags} 00 01 00 00 00 00 00 00 {QUESTION}"))
        proxy.expect_trace(lines.without_answer(19, "127.0.0.2", 0, "a") + lines.exhausted(0, 1, 1))
        assert app.receive() == from_hex(f"AB CD 80 03 00 01 00 00 00 00 00 00 {QUESTION}")


@pytest.mark.parametrize("count", ["00 01", "00 00"])
def test_response_from_another_address_is_dropped_and_the_query_keeps_waiting(count):
    with one_query_waiting(b"127.0.0.2\n127.0.0.9\n") as (proxy, server, app), Upstream("127.0.0.9") as stranger:
        stranger.send(
            from_hex(f"00 00 81 80 00 01 {count} 00 00 00 00 {QUESTION} {RECORD}"), to=server.last_sender
        )
        proxy.expect_trace(
            [
                "func: thread_answer(line:239) AnswerThread: received dns response.",
                "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 35 data from 127.0.0.9",
                "func: RecvAndProcessPacketsFromDNSServer(line:352) id: 0, dns_index:0 current dns rsp from: "
                "127.0.0.9, should from: 127.0.0.2, it seems error",
            ]
        )
        app.assert_nothing_received()
        stranger.assert_nothing_received()
        server.send(from_hex(f"00 00 81 80 00 01 00 01 00 00 00 00 {QUESTION} {RECORD}"))
        proxy.expect_trace(lines.relayed(35, "127.0.0.2", 0, "a", "10.9.8.7"))
        assert app.receive()[:2] == from_hex("AB CD")


def test_answer_from_another_port_of_the_right_address_is_taken():
    with one_query_waiting() as (proxy, server, app), Upstream("127.0.0.2", port=0) as other_port:
        other_port.send(
            from_hex(f"00 00 81 80 00 01 00 01 00 00 00 00 {QUESTION} {RECORD}"), to=server.last_sender
        )
        proxy.expect_trace(lines.relayed(35, "127.0.0.2", 0, "a", "10.9.8.7"))
        assert app.receive() == from_hex(f"AB CD 81 80 00 01 00 01 00 00 00 00 {QUESTION} {RECORD}")


def test_late_answer_of_the_previous_server_is_dropped():
    with one_query_waiting(b"127.0.0.2\n127.0.0.3\n") as (proxy, server, app), Upstream("127.0.0.3") as next_server:
        server.send(from_hex(f"00 00 81 83 00 01 00 00 00 00 00 00 {QUESTION}"))
        proxy.expect_trace(lines.without_answer(19, "127.0.0.2", 0, "a") + lines.forwarded(0, 1, 2))
        next_server.receive()
        server.send(from_hex(f"00 00 81 80 00 01 00 01 00 00 00 00 {QUESTION} {RECORD}"))
        proxy.expect_trace(
            [
                "func: thread_answer(line:239) AnswerThread: received dns response.",
                "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 35 data from 127.0.0.2",
                "func: RecvAndProcessPacketsFromDNSServer(line:352) id: 0, dns_index:1 current dns rsp from: "
                "127.0.0.2, should from: 127.0.0.3, it seems error",
            ]
        )
        app.assert_nothing_received()
        next_server.send(from_hex(f"00 00 81 80 00 01 00 01 00 00 00 00 {QUESTION} {RECORD}"))
        proxy.expect_trace(lines.relayed(35, "127.0.0.3", 0, "a", "10.9.8.7"))
        assert app.receive()[:2] == from_hex("AB CD")


@pytest.mark.parametrize("bytes_, number", [("01 00", 1), ("00 01", 256), ("FF FF", 65535)])
def test_answer_with_an_id_that_nobody_waits_for_is_dropped(bytes_, number):
    with one_query_waiting() as (proxy, server, app):
        server.send(from_hex(f"{bytes_} 81 80 00 01 00 01 00 00 00 00 {QUESTION} {RECORD}"))
        proxy.expect_trace(lines.response(35, "127.0.0.2"))
        proxy.expect_trace(
            [
                "func: RecvAndProcessPacketsFromDNSServer(line:338) rsp from: 127.0.0.2, "
                f"id: {number}, request not found"
            ]
        )
        app.assert_nothing_received()


@pytest.mark.parametrize(
    "last_bytes, printed",
    [
        ("C0 A8 01 01", "-64.-88.1.1"),
        ("7F 80 FF 00", "127.-128.-1.0"),
        ("0A 01 02 03", "10.1.2.3"),
    ],
)
def test_trace_shows_the_last_four_bytes_as_signed_numbers(last_bytes, printed):
    with one_query_waiting() as (proxy, server, app):
        server.send(from_hex(f"00 00 81 80 00 01 00 01 00 00 00 00 {last_bytes}"))
        proxy.expect_trace(lines.response(16, "127.0.0.2"))
        proxy.expect_trace(
            [
                f"func: RecvAndProcessPacketsFromDNSServer(line:367) domain a received answer {printed} "
                "from 127.0.0.2, we have to delete id:0"
            ]
        )
        assert app.receive() == from_hex(f"AB CD 81 80 00 01 00 01 00 00 00 00 {last_bytes}")


def test_response_of_a_header_only_is_relayed_when_its_count_says_so():
    with one_query_waiting() as (proxy, server, app):
        server.send(from_hex("00 00 81 80 00 01 00 01 00 02 FF 04"))
        proxy.expect_trace(lines.relayed(12, "127.0.0.2", 0, "a", "0.2.-1.4"))
        assert app.receive() == from_hex("AB CD 81 80 00 01 00 01 00 02 FF 04")


@pytest.mark.parametrize("sent, received", [(8191, 8191), (8192, 8192), (8193, 8192), (20000, 8192)])
def test_relayed_response_is_sent_whole_up_to_8192_bytes(sent, received):
    body = bytes(value % 100 for value in range(sent - 12))
    with one_query_waiting() as (proxy, server, app):
        server.send(from_hex("00 00 81 80 00 01 00 01 00 00 00 00") + body)
        last = ".".join(str(value % 100) for value in range(received - 16, received - 12))
        proxy.expect_trace(lines.relayed(received, "127.0.0.2", 0, "a", last))
        assert app.receive() == from_hex("AB CD 81 80 00 01 00 01 00 00 00 00") + body[: received - 12]


def test_answers_in_another_order_find_their_applications():
    with Proxy(dns=b"127.0.0.2\n") as proxy, Upstream("127.0.0.2") as server:
        with Application() as first, Application("127.0.0.7") as second:
            proxy.expect_started()
            first.send(query(0x1111, "first.example"))
            proxy.expect_trace(lines.intake(31, "first.example", 0) + lines.forwarded(0, 0, 1))
            second.send(query(0x1111, "second.example"))
            proxy.expect_trace(
                lines.intake(32, "second.example", 1, sender="127.0.0.7") + lines.forwarded(1, 0, 1)
            )
            assert server.receive()[:2] == from_hex("00 00")
            assert server.receive()[:2] == from_hex("01 00")
            server.send(from_hex("01 00 81 80 00 00 00 01 00 00 00 00 02 02 02 02"))
            proxy.expect_trace(lines.relayed(16, "127.0.0.2", 1, "second.example", "2.2.2.2"))
            server.send(from_hex("00 00 81 80 00 00 00 01 00 00 00 00 01 01 01 01"))
            proxy.expect_trace(lines.relayed(16, "127.0.0.2", 0, "first.example", "1.1.1.1"))
            assert first.receive() == from_hex("11 11 81 80 00 00 00 01 00 00 00 00 01 01 01 01")
            assert second.receive() == from_hex("11 11 81 80 00 00 00 01 00 00 00 00 02 02 02 02")


def test_application_that_cannot_be_reached_costs_its_answer_only():
    with Proxy(dns=b"127.0.0.2\n") as proxy, Upstream("127.0.0.2") as server, Application() as app:
        proxy.expect_started()
        send_from_port_zero(query(0xABCD, "a"))
        proxy.expect_trace(lines.intake(19, "a", 0) + lines.forwarded(0, 0, 1))
        server.receive()
        answer = from_hex(f"00 00 81 80 00 01 00 01 00 00 00 00 {QUESTION} {RECORD}")
        server.send(answer)
        proxy.expect_trace(
            [
                "func: thread_answer(line:239) AnswerThread: received dns response.",
                "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 35 data from 127.0.0.2",
                "func: RecvAndProcessPacketsFromDNSServer(line:364) id: 0: sendto failed: 22",
                "func: RecvAndProcessPacketsFromDNSServer(line:367) domain a received answer 10.9.8.7 "
                "from 127.0.0.2, we have to delete id:0",
            ]
        )
        server.send(answer)
        proxy.expect_trace(lines.not_found(35, "127.0.0.2", 0))
        app.send(query(0xABCD, "a"))
        proxy.expect_trace(lines.intake(19, "a", 1) + lines.forwarded(1, 0, 1))
