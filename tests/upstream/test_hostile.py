"""Servers and local senders that mean harm, or are broken."""

import os
import random
import socket

import pytest
from dns_bytes import SERVER_FAILURE, answer, code
from program import PLACES, Asker, Program

from harness import from_hex, query, wait_until

GOOD_END = bytes([10, 0, 0, 1])


def before_the_answer(*makers):
    """A server that sends these datagrams and then the right one."""

    def respond(received, _):
        return [make(received) for make in makers] + [answer(received, ["10.0.0.1"])]

    return respond


@pytest.mark.parametrize(
    "make",
    [
        lambda received: b"",
        lambda received: received[:11],
        lambda received: received,
        lambda received: bytes([received[0] ^ 1]) + answer(received, ["6.6.6.6"])[1:],
        lambda received: answer(received, ["6.6.6.6"]).replace(b"\3www", b"\3wwx"),
        lambda received: received[:4] + bytes(8),
        lambda received: received[:2] + b"\x81\x80" + b"\xff" * 8 + received[12:],
        lambda received: received[:2] + b"\x81\x80\0\1\0\1\0\0\0\0" + b"\xc0\x0c\0\1\0\1" * 20,
    ],
    ids="empty,short,echo,other id,other question,no question,65535 questions,loop of pointers".split(","),
)
def test_what_is_no_response_is_passed_over(servers, program, make):
    servers[0].respond = before_the_answer(make)
    with Asker() as asker:
        for number in range(20):
            response, _ = asker.ask(query(number, "www.example"))
            assert response[-4:] == GOOD_END and code(response) == 0
    assert program.state()[0]["health"] == "alive"


def test_a_response_from_another_port_of_the_server_is_passed_over(servers, program):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as stranger:
        stranger.bind(("127.0.9.1", 0))

        def respond(received, _):
            stranger.sendto(answer(received, ["6.6.6.6"]), ("127.0.0.1", servers[0].queries[-1][2]))
            return [answer(received, ["10.0.0.1"])]

        servers[0].respond = respond
        with Asker() as asker:
            for _ in range(20):
                assert asker.ask()[0][-4:] == GOOD_END


def test_a_datagram_shorter_than_a_header_never_reaches_the_asker(servers, program):
    servers[0].respond = lambda received, _: [received[:length] for length in range(12)]
    with Asker() as asker:
        response, _ = asker.ask()
    assert len(response) >= 12 and code(response) == SERVER_FAILURE


def test_every_query_is_answered_whatever_the_server_makes_of_it(servers, program):
    """Random bytes, and responses with random bytes changed, added or cut off, over UDP and TCP."""
    seed = int(os.environ.get("UPSTREAM_SEED", "20261122"))
    chance = random.Random(seed)

    def respond(received, _):
        good = bytearray(answer(received, ["10.0.0.1"], filler=chance.choice([0, 300, 900])))
        for _ in range(chance.randrange(4)):
            good[chance.randrange(2, len(good))] = chance.randrange(256)
        cut = good[: chance.randrange(len(good) + 1)] if chance.random() < 0.2 else good
        noise = chance.randbytes(chance.randrange(40))
        return [bytes(cut)] if chance.random() < 0.8 else [noise, bytes(cut)]

    servers[0].respond = respond
    with Asker() as asker:
        for number in range(3000):
            asked = query(number, f"n{number}.example")
            asker.send(asked)
            if number % 50 == 49:
                got = [asker.receive(30) for _ in range(50)]
                assert all(len(one) >= 12 for one in got)
                assert sorted(one[:2] for one in got) == [bytes([n >> 8, n & 255]) for n in range(number - 49, number + 1)]
        servers[0].be_well()
        wait_until(lambda: asker.ask(query(7, "well.example"))[0][-4:] == GOOD_END, f"an answer (seed {seed})")


IGNORED = {
    "shorter than a header": b"\x12\x34\1\0\0\1\0\0\0\0\0",
    "empty": b"",
    "longer than the proxy's buffers": query(1, "www.example") + bytes(8192),
}


@pytest.mark.parametrize("datagram", IGNORED.values(), ids=IGNORED)
def test_malformed_queries_are_ignored(servers, program, datagram):
    with Asker() as asker:
        asker.send(datagram)
        asker.assert_nothing_comes_before_an_answer()
    assert len(servers[0].asked()) == 1


FAILED = {
    "a response": from_hex("12 34 81 80 00 01 00 00 00 00 00 00 01 61 00 00 01 00 01"),
    "no question": from_hex("12 34 01 00 00 00 00 00 00 00 00 00"),
    "two questions": from_hex("12 34 01 00 00 02 00 00 00 00 00 00 00 00 01 00 01 00 00 01 00 01"),
    "a cut name": from_hex("12 34 01 00 00 01 00 00 00 00 00 00 05 61"),
    "a compressed name": from_hex("12 34 01 00 00 01 00 00 00 00 00 00 c0 0c 00 01 00 01"),
}


@pytest.mark.parametrize("datagram", FAILED.values(), ids=FAILED)
def test_what_cannot_be_asked_is_a_failure_so_that_the_proxy_keeps_nothing(servers, program, datagram):
    with Asker() as asker:
        response, _ = asker.ask(datagram)
    assert response[:2] == b"\x12\x34" and code(response) == SERVER_FAILURE and len(response) >= 12
    assert servers[0].asked() == []


def test_a_query_from_the_port_of_a_server_is_ignored(servers, program):
    """Or two of the listening addresses could be set talking to each other."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as forged, Asker() as asker:
        forged.bind(("127.0.0.77", 53))
        forged.sendto(query(1, "forged.example"), (PLACES[0], 53))
        asker.assert_nothing_comes_before_an_answer()
    assert len(servers[0].asked()) == 1


def test_an_address_that_is_taken_is_said(servers, program):
    second = Program(["127.0.9.1"], wait=False)
    assert second.process.wait(20) == 1
    assert second.said() == "dns_proxy_upstream: 127.0.53.1 port 53 cannot be had: Address already in use.\n"
