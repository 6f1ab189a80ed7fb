"""Datagrams of applications that are refused, and what a refusal ends: the intake, and nothing else."""

import pytest

import lines
from harness import Application, Proxy, Upstream, from_hex, query

RECEIVED = "func: thread_query(line:282) ****QureyThread***: received dns request"
COUNT_IS_1 = "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :1"
TOO_SHORT = "func: RecvAndProcessPacketsFromLocalApps(line:415)FromAPP: query too short from 127.0.0.1"
NAME_IS_EMPTY = "func: RecvAndProcessPacketsFromLocalApps(line:429)FromAPP: domain is empty, from: 127.0.0.1"

REFUSED = {
    "empty datagram": (
        "",
        [
            RECEIVED,
            "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 0 data from 127.0.0.1",
            TOO_SHORT,
        ],
    ),
    "11 bytes": (
        "12 34 01 00 00 01 00 00 00 00 00",
        [
            RECEIVED,
            "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 11 data from 127.0.0.1",
            TOO_SHORT,
        ],
    ),
    "no question": (
        "12 34 01 00 00 00 00 00 00 00 00 00 01 61 00 00 01 00 01",
        [
            RECEIVED,
            "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 19 data from 127.0.0.1",
            "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :0",
            "func: RecvAndProcessPacketsFromLocalApps(line:423)FromAPP: QuestionCount invalid: 0, from: 127.0.0.1",
        ],
    ),
    "two questions": (
        "12 34 01 00 00 02 00 00 00 00 00 00 01 61 00 00 01 00 01 01 62 00 00 01 00 01",
        [
            RECEIVED,
            "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 26 data from 127.0.0.1",
            "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :2",
            "func: RecvAndProcessPacketsFromLocalApps(line:423)FromAPP: QuestionCount invalid: 2, from: 127.0.0.1",
        ],
    ),
    "a count of one in the wrong byte order": (
        "12 34 01 00 01 00 00 00 00 00 00 00 01 61 00 00 01 00 01",
        [
            RECEIVED,
            "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 19 data from 127.0.0.1",
            "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :256",
            "func: RecvAndProcessPacketsFromLocalApps(line:423)FromAPP: QuestionCount invalid: 256, from: 127.0.0.1",
        ],
    ),
    "the largest count": (
        "12 34 01 00 FF FF 00 00 00 00 00 00 01 61 00 00 01 00 01",
        [
            RECEIVED,
            "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 19 data from 127.0.0.1",
            "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :65535",
            "func: RecvAndProcessPacketsFromLocalApps(line:423)FromAPP: "
            "QuestionCount invalid: 65535, from: 127.0.0.1",
        ],
    ),
    "a header and nothing behind it": (
        "12 34 01 00 00 01 00 00 00 00 00 00",
        [
            RECEIVED,
            "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 12 data from 127.0.0.1",
            COUNT_IS_1,
            NAME_IS_EMPTY,
        ],
    ),
    "the root name": (
        "12 34 01 00 00 01 00 00 00 00 00 00 00 00 02 00 01",
        [
            RECEIVED,
            "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 17 data from 127.0.0.1",
            COUNT_IS_1,
            NAME_IS_EMPTY,
        ],
    ),
    "a compression pointer first": (
        "12 34 01 00 00 01 00 00 00 00 00 00 C0 0C 00 01 00 01",
        [
            RECEIVED,
            "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 18 data from 127.0.0.1",
            COUNT_IS_1,
            "func: ExtractDomain(line:482)ExtractDomain invalid value:-64",
            NAME_IS_EMPTY,
        ],
    ),
    "a first length byte of 0x80": (
        "12 34 01 00 00 01 00 00 00 00 00 00 80 61 00 00 01 00 01",
        [
            RECEIVED,
            "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 19 data from 127.0.0.1",
            COUNT_IS_1,
            "func: ExtractDomain(line:482)ExtractDomain invalid value:-128",
            NAME_IS_EMPTY,
        ],
    ),
    "a first length byte of 0xFF": (
        "12 34 01 00 00 01 00 00 00 00 00 00 FF 61 00 00 01 00 01",
        [
            RECEIVED,
            "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 19 data from 127.0.0.1",
            COUNT_IS_1,
            "func: ExtractDomain(line:482)ExtractDomain invalid value:-1",
            NAME_IS_EMPTY,
        ],
    ),
    "a first label that begins with a zero byte": (
        "12 34 01 00 00 01 00 00 00 00 00 00 03 00 61 62 00 00 01 00 01",
        [
            RECEIVED,
            "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 21 data from 127.0.0.1",
            COUNT_IS_1,
            NAME_IS_EMPTY,
        ],
    ),
    "a first label wholly behind the datagram's end": (
        "12 34 01 00 00 01 00 00 00 00 00 00 05",
        [
            RECEIVED,
            "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 13 data from 127.0.0.1",
            COUNT_IS_1,
            NAME_IS_EMPTY,
        ],
    ),
}


@pytest.mark.parametrize("datagram, printed", REFUSED.values(), ids=REFUSED.keys())
def test_refusal_ends_the_intake_and_earlier_queries_still_get_their_answers(datagram, printed):
    with Proxy(dns=b"127.0.0.2\n") as proxy, Upstream("127.0.0.2") as server, Application() as earlier:
        proxy.expect_started()
        threads = proxy.threads()
        earlier.send(query(0xABCD, "www.example"))
        proxy.expect_trace(lines.intake(29, "www.example", 0) + lines.forwarded(0, 0, 1))
        assert server.receive()[:2] == from_hex("00 00")

        with Application() as refused, Application() as later:
            refused.send(from_hex(datagram))
            proxy.expect_trace(printed)
            proxy.expect_query_thread_end(threads)
            later.send(query(0x0001, "www.example"))

            server.send(from_hex("00 00 81 80 00 00 00 01 00 00 00 00 C0 0C 00 01 00 01 00 00 00 3C 00 04 0A 09 08 07"))
            proxy.expect_trace(lines.relayed(28, "127.0.0.2", 0, "www.example", "10.9.8.7"))
            assert earlier.receive()[:2] == from_hex("AB CD")
            refused.assert_nothing_received()
            later.assert_nothing_received()
            server.assert_nothing_received()


def test_a_query_under_way_still_moves_to_the_next_server_after_the_intake_has_ended():
    with Proxy(dns=b"127.0.0.2\n127.0.0.3\n") as proxy, Application() as app:
        proxy.expect_started()
        threads = proxy.threads()
        with Upstream("127.0.0.2") as server_a, Upstream("127.0.0.3") as server_b:
            app.send(query(0xABCD, "www.example"))
            proxy.expect_trace(lines.intake(29, "www.example", 0) + lines.forwarded(0, 0, 2))
            server_a.receive()
            app.send(b"")
            proxy.expect_trace(REFUSED["empty datagram"][1])
            proxy.expect_query_thread_end(threads)

            server_a.send(from_hex("00 00 81 83 00 01 00 00 00 00 00 00"))
            proxy.expect_trace(lines.without_answer(12, "127.0.0.2", 0, "www.example") + lines.forwarded(0, 1, 2))
            assert server_b.receive() == query(0x0000, "www.example")
            server_b.send(from_hex("00 00 81 83 00 01 00 00 00 00 00 00"))
            proxy.expect_trace(lines.without_answer(12, "127.0.0.3", 0, "www.example") + lines.exhausted(0, 2, 2))
            assert app.receive()[:4] == from_hex("AB CD 80 03")


ODD_FLAGS = ["80 00", "28 00", "02 00", "01 0F", "FF FF"]


@pytest.mark.parametrize("flags", ODD_FLAGS)
def test_flags_and_the_other_counts_of_a_query_are_not_looked_at(flags):
    with Proxy(dns=b"127.0.0.2\n") as proxy, Upstream("127.0.0.2") as server, Application() as app:
        proxy.expect_started()
        app.send(from_hex(f"AB CD {flags} 00 01 00 07 FF FF 12 34 01 61 00 00 01 00 01"))
        proxy.expect_trace(lines.intake(19, "a", 0) + lines.forwarded(0, 0, 1))
        assert server.receive() == from_hex(f"00 00 {flags} 00 01 00 07 FF FF 12 34 01 61 00 00 01 00 01")
