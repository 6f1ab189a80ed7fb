"""The bytes of the two answers that the proxy makes itself."""

import pytest

import lines
from harness import Application, Proxy, Upstream, from_hex

HOSTMAP = b"intra.home:10.1.2.3\n"
INTRA_HOME = "05 69 6E 74 72 61 04 68 6F 6D 65 00"
OTHER_HOME = "05 6F 74 68 65 72 04 68 6F 6D 65 00"
RECORD = "C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03"
EDNS_OPTION = "00 00 29 04 D0 00 00 00 00 00 01 00"


def host_map_answer(asked):
    """What an application gets for `asked`, which names intra.home."""
    datagram = from_hex(asked)
    with Proxy(hostmap=HOSTMAP) as proxy, Application() as app:
        proxy.expect_started()
        app.send(datagram)
        proxy.expect_trace(
            lines.intake(len(datagram), "intra.home", 0) + lines.host_map_hit(0, 1, "intra.home", "10.1.2.3")
        )
        return app.receive()


def no_such_name_response(asked):
    """What an application gets for `asked`, which names other.home."""
    datagram = from_hex(asked)
    with Proxy(hostmap=HOSTMAP) as proxy, Application() as app:
        proxy.expect_started()
        app.send(datagram)
        proxy.expect_trace(lines.intake(len(datagram), "other.home", 0) + lines.host_map_tried(0, 1))
        proxy.expect_trace(lines.exhausted(0, 1, 1))
        return app.receive()


def test_address_question_of_28_bytes_is_answered_with_44():
    answer = host_map_answer(f"12 34 01 00 00 01 00 00 00 00 00 00 {INTRA_HOME} 00 01 00 01")
    assert answer == from_hex(f"12 34 81 00 00 01 00 01 00 00 00 00 {INTRA_HOME} 00 01 00 01 {RECORD}")
    assert len(answer) == 44


def test_ipv6_question_gets_the_ipv4_record_and_a_count_of_two():
    answer = host_map_answer(f"12 34 01 00 00 01 00 00 00 00 00 00 {INTRA_HOME} 00 1C 00 01")
    assert answer == from_hex(f"12 34 81 00 00 01 00 02 00 00 00 00 {INTRA_HOME} 00 1C 00 01 {RECORD}")


@pytest.mark.parametrize("type_and_class", ["00 0F 00 01", "00 01 00 03", "00 FF 00 FF", "1C 00 00 01", "FF FF FF FF"])
def test_question_of_any_other_type_or_class_gets_the_record_and_a_count_of_one(type_and_class):
    answer = host_map_answer(f"12 34 01 00 00 01 00 00 00 00 00 00 {INTRA_HOME} {type_and_class}")
    assert answer == from_hex(f"12 34 81 00 00 01 00 01 00 00 00 00 {INTRA_HOME} {type_and_class} {RECORD}")


@pytest.mark.parametrize(
    "asked, answered", [("00 00", "80 00"), ("01 00", "81 00"), ("7F FF", "FF F0"), ("81 83", "81 80")]
)
def test_host_map_answer_keeps_every_flag_but_response_and_code(asked, answered):
    answer = host_map_answer(f"12 34 {asked} 00 01 00 00 00 00 00 00 {INTRA_HOME} 00 01 00 01")
    assert answer == from_hex(f"12 34 {answered} 00 01 00 01 00 00 00 00 {INTRA_HOME} 00 01 00 01 {RECORD}")


@pytest.mark.parametrize("asked", ["00 00", "01 00", "7F FF", "81 83"])
def test_no_such_name_response_echoes_no_flag(asked):
    response = no_such_name_response(f"12 34 {asked} 00 01 00 00 00 00 00 00 {OTHER_HOME} 00 01 00 01")
    assert response == from_hex(f"12 34 80 03 00 01 00 00 00 00 00 00 {OTHER_HOME} 00 01 00 01")


def test_host_map_answer_follows_an_option_record_and_keeps_its_count():
    answer = host_map_answer(f"12 34 01 00 00 01 00 00 00 00 00 01 {INTRA_HOME} 00 01 00 01 {EDNS_OPTION}")
    assert answer == from_hex(
        f"12 34 81 00 00 01 00 01 00 00 00 01 {INTRA_HOME} 00 01 00 01 {EDNS_OPTION} {RECORD}"
    )
    assert len(answer) == 56


def test_no_such_name_response_copies_an_option_record_and_clears_its_count():
    response = no_such_name_response(f"12 34 01 20 00 01 00 00 00 00 00 01 {OTHER_HOME} 00 01 00 01 {EDNS_OPTION}")
    assert response == from_hex(f"12 34 80 03 00 01 00 00 00 00 00 00 {OTHER_HOME} 00 01 00 01 {EDNS_OPTION}")
    assert len(response) == 40


def test_counts_that_the_query_claims_stay_in_the_host_map_answer_and_go_from_the_other():
    answer = host_map_answer(f"12 34 01 00 00 01 00 09 00 08 00 07 {INTRA_HOME} 00 01 00 01")
    assert answer == from_hex(f"12 34 81 00 00 01 00 01 00 08 00 07 {INTRA_HOME} 00 01 00 01 {RECORD}")
    response = no_such_name_response(f"12 34 01 00 00 01 00 09 00 08 00 07 {OTHER_HOME} 00 01 00 01")
    assert response == from_hex(f"12 34 80 03 00 01 00 00 00 00 00 00 {OTHER_HOME} 00 01 00 01")


@pytest.mark.parametrize("question_end", ["", "00", "00 1C", "00 1C 00"])
def test_question_cut_behind_its_name_is_answered_with_what_there_was(question_end):
    """Without two whole bytes for the type it counts as 0; with them, 28 is an IPv6 question as ever."""
    count = "00 02" if question_end.startswith("00 1C") else "00 01"
    answer = host_map_answer(f"12 34 01 00 00 01 00 00 00 00 00 00 {INTRA_HOME} {question_end}")
    assert answer == from_hex(f"12 34 81 00 00 01 {count} 00 00 00 00 {INTRA_HOME} {question_end} {RECORD}")


def padded_query(length, name):
    """A query of so many bytes: the question, then 0x55 bytes up to the end."""
    question = from_hex(f"12 34 01 00 00 01 00 00 00 00 00 00 {name} 00 01 00 01")
    return question + b"\x55" * (length - len(question))


def test_query_of_8175_bytes_still_has_room_for_the_host_map_record():
    asked = padded_query(8175, INTRA_HOME)
    with Proxy(hostmap=HOSTMAP) as proxy, Application() as app:
        proxy.expect_started()
        app.send(asked)
        proxy.expect_trace(lines.intake(8175, "intra.home", 0) + lines.host_map_hit(0, 1, "intra.home", "10.1.2.3"))
        answer = app.receive()
    assert answer == from_hex("12 34 81 00 00 01 00 01 00 00 00 00") + asked[12:] + from_hex(RECORD)
    assert len(answer) == 8191


@pytest.mark.parametrize("length", [8176, 8177, 8191, 8192])
def test_query_too_long_for_the_host_map_record_is_the_next_methods(length):
    asked = padded_query(length, INTRA_HOME)
    with Proxy(dns=b"127.0.0.2\n", hostmap=HOSTMAP) as proxy, Upstream("127.0.0.2") as server, Application() as app:
        proxy.expect_started()
        app.send(asked)
        proxy.expect_trace(lines.intake(length, "intra.home", 0) + lines.host_map_tried(0, 2))
        proxy.expect_trace(lines.forwarded(0, 1, 2))
        assert server.receive() == b"\0\0" + asked[2:]
        app.assert_nothing_received()


def test_query_too_long_for_the_host_map_record_is_refused_when_the_map_is_all_there_is():
    asked = padded_query(8176, INTRA_HOME)
    with Proxy(hostmap=HOSTMAP) as proxy, Application() as app:
        proxy.expect_started()
        app.send(asked)
        proxy.expect_trace(lines.intake(8176, "intra.home", 0) + lines.host_map_tried(0, 1))
        proxy.expect_trace(lines.exhausted(0, 1, 1))
        assert app.receive() == from_hex("12 34 80 03 00 01 00 00 00 00 00 00") + asked[12:]


@pytest.mark.parametrize("length", [8193, 20000, 65507])
def test_datagram_beyond_8192_bytes_is_taken_as_its_first_8192(length):
    asked = padded_query(length, OTHER_HOME)
    with Proxy(dns=b"127.0.0.2\n") as proxy, Upstream("127.0.0.2") as server, Application() as app:
        proxy.expect_started()
        app.send(asked)
        proxy.expect_trace(lines.intake(8192, "other.home", 0) + lines.forwarded(0, 0, 1))
        assert server.receive() == b"\0\0" + asked[2:8192]
        server.send(from_hex("00 00 81 83 00 01 00 00 00 00 00 00"))
        proxy.expect_trace(lines.without_answer(12, "127.0.0.2", 0, "other.home") + lines.exhausted(0, 1, 1))
        assert app.receive() == from_hex("12 34 80 03 00 01 00 00 00 00 00 00") + asked[12:8192]
