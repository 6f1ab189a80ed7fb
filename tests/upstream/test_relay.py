"""What comes in is asked of the server behind that address, and goes back as it came."""

import struct

import pytest
from fake_server import FakeServer
from dns_bytes import announced_size, answer, code, empty_answer, question_end, with_udp_size
from program import Asker, Program

from harness import from_hex, query, wait_until
from harness.namespace import where_there_is_ipv6


def test_each_address_stands_for_one_server(program):
    for place, last in enumerate((1, 2, 3)):
        with Asker(place) as asker:
            response, _ = asker.ask()
            assert response[-4:] == bytes([10, 0, 0, last])


def test_a_response_goes_back_to_the_byte_with_the_asker_s_id(servers, program):
    servers[0].respond = lambda received, _: [
        received[:2] + from_hex("85 80 00 01 00 01 00 00 00 00 03 77 77 77 07 65 78 61 6d 70 6c 65 00 00 01 00 01"
                                "c0 0c 00 01 00 01 00 00 0e 10 00 04 c0 00 02 05")
    ]
    with Asker() as asker:
        response, _ = asker.ask(query(0x1234, "www.example"))
    assert response == from_hex(
        "12 34 85 80 00 01 00 01 00 00 00 00 03 77 77 77 07 65 78 61 6d 70 6c 65 00 00 01 00 01"
        "c0 0c 00 01 00 01 00 00 0e 10 00 04 c0 00 02 05"
    )


def test_the_query_goes_out_as_it_came_but_for_its_id(servers, program):
    sent = with_udp_size(query(0x1234, "www.example", flags=0x0130), 1400)
    with Asker() as asker:
        asker.ask(sent)
    asked = servers[0].asked()
    assert [received[2:] for received, _, _ in asked] == [sent[2:]]


def test_ids_and_ports_toward_the_server_change_from_query_to_query(servers, program):
    with Asker() as asker:
        for number in range(64):
            asker.ask(query(number, "www.example"))
    ids = {received[:2] for received, _, _ in servers[0].asked()}
    ports = {port for _, _, port in servers[0].asked()}
    assert len(ids) > 60 and len(ports) > 50


def test_the_question_comes_back_in_the_asker_s_letters(servers, program):
    servers[0].respond = lambda received, _: [answer(received, ["10.0.0.1"]).replace(b"wWw", b"www")]
    with Asker() as asker:
        response, _ = asker.ask(query(1, "wWw.eXample"))
    assert response[12 : question_end(response)] == query(1, "wWw.eXample")[12:]


@pytest.mark.parametrize("refusal", [2, 3, 5], ids=["server failure", "no such name", "refused"])
def test_a_response_without_records_goes_back_whatever_its_code(servers, program, refusal):
    servers[0].respond = lambda received, _: [empty_answer(received, refusal)]
    with Asker() as asker:
        response, _ = asker.ask(query(0x1234, "www.example"))
    assert response == empty_answer(query(0x1234, "www.example"), refusal)


def sized(size):
    """A server with a response of so many bytes: over UDP where the query has room for it."""

    def respond(received, transport):
        if transport == "tcp" or size <= announced_size(received):
            return [answer(received, ["10.0.0.1"], filler=size)]
        return [empty_answer(received, 0, truncated=True)]

    return respond


@pytest.mark.parametrize("size", [512, 513, 600, 1300, 4000, 8000, 8192])
@pytest.mark.parametrize("room", [None, 1232, 4096, 9000])
def test_a_response_comes_whole_however_long(servers, program, size, room):
    servers[0].respond = sized(size)
    sent = query(0x1234, "www.example")
    sent = with_udp_size(sent, room) if room else sent
    with Asker() as asker:
        response, _ = asker.ask(sent)
    assert response == answer(sent, ["10.0.0.1"], filler=size)


def test_a_response_longer_than_the_proxy_s_buffers_is_a_failure(servers, program):
    servers[0].respond = sized(8193)
    with Asker() as asker:
        response, _ = asker.ask()
    assert code(response) == 2 and len(response) == len(query(1, "www.example"))


def test_a_truncated_response_is_asked_for_over_tcp_once(servers, program):
    servers[0].respond = sized(600)
    with Asker() as asker:
        asker.ask()
    assert [transport for _, transport, _ in servers[0].asked()] == ["udp", "tcp"]
    program.wait_for_state(0, truncations=1, answered=1)


def test_a_truncated_response_of_a_server_without_tcp_is_a_failure(servers, program):
    servers[0].respond = lambda received, _: [empty_answer(received, 0, truncated=True)]
    servers[0].tcp.close()
    with Asker() as asker:
        response, _ = asker.ask()
    assert code(response) == 2


@pytest.mark.parametrize("address", where_there_is_ipv6("::1"))
def test_a_server_may_have_an_ipv6_address(address):
    with FakeServer(address), Program([address]), Asker() as asker:
        response, _ = asker.ask()
        assert response[-4:] == bytes([10, 0, 0, 66])


def test_an_address_without_a_server_fails_at_once(servers):
    with Program([servers[0].address]), Asker(2) as asker:
        response, seconds = asker.ask(query(0x1234, "www.example"))
        assert response == from_hex("12 34 81 82 00 01 00 00 00 00 00 00") + query(0, "www.example")[12:]
        assert seconds < 1


def test_responses_find_their_askers_in_whatever_order_they_come(servers, program):
    held, rounds = [], iter(range(1000))

    def hold(received, _):
        if received[12] == 0:  # a probe
            return [answer(received, ["10.0.0.1"])]
        held.append(received)
        return []

    def all_are_right():
        """Those of one round. A machine that is busy enough lets some pass their deadline: then none is wrong."""
        end = f"round{next(rounds)}"
        with Asker() as asker:
            for number in range(50):
                asker.send(query(number, f"n{number}.{end}"))
            of_round = lambda: {one[12:]: one for one in held if end.encode() in one}  # noqa: E731
            wait_until(lambda: len(of_round()) == 50, "all queries at the server")
            ports = {received[:2]: sender for received, _, sender in servers[0].asked()}
            for received in reversed(of_round().values()):
                last = int(received[14 : 13 + received[12]])
                servers[0].udp.sendto(answer(received, [f"10.0.1.{last}"]), ("127.0.0.1", ports[received[:2]]))
            got = [asker.receive() for _ in range(50)]
        assert sorted(struct.unpack("!H", response[:2])[0] for response in got) == list(range(50))
        assert {code(response) for response in got} <= {0, 2}
        right = [response for response in got if code(response) == 0]
        assert [response[-1] for response in right] == [struct.unpack("!H", response[:2])[0] for response in right]
        return len(right) == 50

    servers[0].respond = hold
    wait_until(all_are_right, "a round in which all are answered")
