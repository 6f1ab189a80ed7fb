"""Many queries: none is answered wrongly, none is lost, and nothing grows."""

import os
import random
import select
import time

from dns_bytes import SERVER_FAILURE, answer, answer_count, code
from program import Asker

from harness import query, wait_until

IN_FLIGHT = 200
# The full run: UPSTREAM_SILENT_QUERIES=1000000 (docs/upstream.md has its figures).
QUERIES_AT_A_SILENT_SERVER = int(os.environ.get("UPSTREAM_SILENT_QUERIES", "30000"))


def address_of(number):
    return f"10.{number >> 16 & 255}.{number >> 8 & 255}.{number & 255}"


def number_in(message):
    return int(message[14 : 13 + message[12]])


def by_name(received):
    return answer(received, [address_of(number_in(received))]) if received[12] else answer(received, ["10.0.0.1"])


def ask_many(asker, count, check, seconds=120):
    """Asks for n0.example and so on, some in flight at a time, and checks every response."""
    waiting, asked, end = {}, 0, time.monotonic() + seconds
    while asked < count or waiting:
        while asked < count and len(waiting) < IN_FLIGHT:
            waiting[asked & 0xFFFF] = asked
            asker.send(query(asked & 0xFFFF, f"n{asked}.example"))
            asked += 1
        assert select.select([asker.socket], [], [], max(0.0, end - time.monotonic()))[0], f"{len(waiting)} wait"
        response = asker.socket.recv(65535)
        check(waiting.pop(response[0] << 8 | response[1]), response)


def test_no_wrong_answer_with_answers_out_of_order_and_late(servers, program, record_property):
    chance, held = random.Random(7), []

    def respond(received, _):
        """Most answers come in groups, shuffled; some far too late, some twice."""
        held.append(by_name(received))
        if len(held) < 40 and chance.random() < 0.97:
            return []
        chance.shuffle(held)
        kept = max(0, len(held) - 60)
        gone, held[:] = held[kept:], held[:kept]
        return gone + gone[:3]

    # The server has one socket for all: it answers to where the last query came from, so that only
    # answers that come from the right port and with the right id may count.
    servers[0].respond = respond
    wrong = []

    def check(number, response):
        if code(response) == SERVER_FAILURE and answer_count(response) == 0:
            return
        if number_in(response) != number or response[-4:] != bytes(map(int, address_of(number).split("."))):
            wrong.append((number, response))

    with Asker() as asker:
        ask_many(asker, 1500, check)
    assert wrong == []
    state = program.state()[0]
    record_property("answered, failed, retries", (state["answered"], state["unanswered"], state["retries"]))


def every_third_lost(server):
    """Of all packets, both ways, every third is lost."""
    packets = [0]

    def survives():
        packets[0] += 1
        return packets[0] % 3 != 0

    server.respond = lambda received, _: [by_name(received)] if survives() and survives() else []


def test_with_every_third_packet_lost_all_queries_are_answered(servers, program, record_property):
    every_third_lost(servers[0])
    failed = []

    def check(number, response):
        if response[-4:] != bytes(map(int, address_of(number).split("."))):
            failed.append(number)

    with Asker() as asker:
        ask_many(asker, 2000, check)
    assert failed == []
    assert program.state()[0]["health"] == "alive"
    record_property("retries for 2,000 queries", program.state()[0]["retries"])


def test_a_lossy_server_alone_with_one_query_at_a_time(servers, program):
    every_third_lost(servers[0])
    with Asker() as asker:
        for number in range(200):
            response, _ = asker.ask(query(number, f"n{number}.example"))
            assert response[-4:] == bytes(map(int, address_of(number).split(".")))


def test_after_many_queries_at_a_silent_server_memory_is_as_before(servers, program, record_property):
    servers[0].be_silent()
    with Asker() as asker:
        # To the fill of everything that is kept, first.
        ask_many(asker, 5000, lambda number, response: None)
        program.wait_for_state(0, health="silent")
        before, begin = program.memory_kilobytes(), time.monotonic()
        failures = []
        ask_many(asker, QUERIES_AT_A_SILENT_SERVER, lambda number, response: failures.append(code(response)), 3600)
        seconds, after = time.monotonic() - begin, program.memory_kilobytes()
        assert set(failures) == {SERVER_FAILURE} and len(failures) == QUERIES_AT_A_SILENT_SERVER
        if not program.is_sanitized():
            assert after <= before + 256
        servers[0].be_well()
        wait_until(lambda: code(asker.ask()[0]) == 0, "the server's return")
    record_property("kilobytes before, after, queries, seconds", (before, after, QUERIES_AT_A_SILENT_SERVER, f"{seconds:.1f}"))


def test_when_too_much_is_under_way_the_failure_comes_at_once(servers, program):
    servers[0].respond = lambda received, _: [by_name(received)] if received[12] == 0 else []
    with Asker() as asker, Asker(1) as other:
        for number in range(6000):
            asker.send(query(number, f"n{number}.example"))
        first = asker.receive()
        assert code(first) == SERVER_FAILURE
        # The other servers are as quick as ever.
        assert other.ask()[0][-4:] == bytes([10, 0, 0, 2])
    assert program.memory_kilobytes() < 60000 or program.is_sanitized()
