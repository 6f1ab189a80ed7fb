"""The model's two answers of the proxy's own, byte by byte."""

from model.answers import host_map_answer, no_such_name

RECORD = bytes.fromhex("c00c 0001 0001 00015180 0004 0a010203")
CLIENT_ID = b"\x12\x34"
QUESTION = "05 696e747261 03 6c616e 00 0001 0001"
QUERY = bytes.fromhex("0000 0100 0001 0000 0000 0000" + QUESTION)
OPTION = "00 0029 1000 00000000 0000"


def test_a_host_map_answer_is_the_query_with_the_record_behind_it():
    answer = host_map_answer(QUERY, CLIENT_ID, 1, RECORD)
    expected = "1234 8100 0001 0001 0000 0000" + QUESTION + "c00c 0001 0001 00015180 0004 0a010203"
    assert answer == bytes.fromhex(expected)
    assert len(answer) == len(QUERY) + 16


def test_the_count_is_two_for_an_ipv6_question_only():
    assert host_map_answer(QUERY, CLIENT_ID, 28, RECORD)[6:8] == b"\0\2"
    assert host_map_answer(QUERY, CLIENT_ID, 15, RECORD)[6:8] == b"\0\1"


def test_a_host_map_answer_keeps_every_flag_but_two_fields():
    query = QUERY[:2] + bytes.fromhex("7fff") + QUERY[4:]
    assert host_map_answer(query, CLIENT_ID, 1, RECORD)[2:4] == bytes.fromhex("fff0")


def test_an_option_record_stays_before_the_answer_and_counted():
    query = bytes.fromhex("0000 0100 0001 0000 0000 0001" + QUESTION + OPTION)
    answer = host_map_answer(query, CLIENT_ID, 1, RECORD)
    assert answer[10:12] == b"\0\1"
    assert answer[len(query) - 11 :] == bytes.fromhex(OPTION) + RECORD


def test_no_such_name_is_as_long_as_the_query_and_counts_only_the_question():
    query = bytes.fromhex("0000 0100 0001 0002 0003 0001" + QUESTION + OPTION)
    expected = bytes.fromhex("1234 8003 0001 0000 0000 0000" + QUESTION + OPTION)
    assert no_such_name(query, CLIENT_ID) == expected
