"""The model's intake, fallback and relay: literal datagrams, literal traces."""

import pytest

from model.engine import Sent, shows_answers
from model.process import ModelProxy

CLIENT = ("127.0.0.1", 20001)
SERVER_A = ("127.0.0.2", 53)
SERVER_B = ("127.0.0.3", 53)
HEADER = "abcd 0100 0001 0000 0000 0000"
QUERY = bytes.fromhex(HEADER + "01 61 02 6263 00 0001 0001")
FORWARDED = bytes.fromhex("0000 0100 0001 0000 0000 0000 01 61 02 6263 00 0001 0001")
REVERSE = bytes.fromhex(HEADER + "01 34 07 696e2d61646472 04 61727061 00 000c 0001")
INTAKE = b"func: RecvAndProcessPacketsFromLocalApps"
RELAY = b"func: RecvAndProcessPacketsFromDNSServer"
NEXT = b"func: TryNextDNSQueryMethod"
METHOD = b"**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:%d(0: dns, 1:hostmap)\n"


def started(dns=None, hostmap=None):
    proxy = ModelProxy(dns, hostmap)
    proxy.start()
    return proxy


def accepted(length, name, number):
    return (
        b"func: thread_query(line:282) ****QureyThread***: received dns request\n"
        + INTAKE + b"(line:412)FromAPP: received %d data from 127.0.0.1\n" % length
        + INTAKE + b"(line:420) pDNSHeader QuestionCount :1\n"
        + INTAKE + b"(line:432) received dns request............%s\n" % name
        + INTAKE + b"(line:464)FromAPP: the request domain is %s, id:%d\n" % (name, number)
    )  # fmt: skip


def tried(number, index, size):
    return (
        NEXT + b"(line:614)TryNextDNSQueryMethod: id: %d, bReasonIsTimeout:0\n" % number
        + NEXT + b"(line:624) CurrentDNSMethodIndex: %d, DnsListSize:%d\n" % (index, size)
    )  # fmt: skip


def response_received(length, address):
    return (
        b"func: thread_answer(line:239) AnswerThread: received dns response.\n"
        + RELAY + b"(line:325) FromDNSServer: recv %d data from %s\n" % (length, address)
    )  # fmt: skip


def response(count_hex, tail_hex="c0a80101"):
    return bytes.fromhex("0000 8180 0001" + count_hex + "0000 0000" + tail_hex)


def test_a_query_is_forwarded_with_the_proxys_id():
    outcome = started(b"127.0.0.2\n").from_application(QUERY, CLIENT)
    assert outcome.trace == accepted(22, b"a.bc", 0) + tried(0, 0, 1) + METHOD % 0
    assert outcome.sent == (Sent("servers", SERVER_A, FORWARDED),)
    assert outcome.number == 0


def test_the_second_query_travels_as_01_00():
    proxy = started(b"127.0.0.2\n")
    proxy.from_application(QUERY, CLIENT)
    assert proxy.from_application(QUERY, CLIENT).sent[0].datagram[:2] == b"\1\0"


def test_a_host_map_miss_moves_on_and_a_hit_answers():
    proxy = started(b"127.0.0.2\n", b"a.bc:10.1.2.3\n")
    miss = proxy.from_application(QUERY.replace(b"\x01a", b"\x01x"), CLIENT)
    assert miss.trace == accepted(22, b"x.bc", 0) + tried(0, 0, 2) + METHOD % 1 + tried(0, 1, 2) + METHOD % 0
    hit = proxy.from_application(QUERY.replace(b"\x01a", b"\x01A"), CLIENT)
    line = NEXT + b"(line:669) find A.bc from hostmap, ip:10.1.2.3, req id:1\n"
    assert hit.trace == accepted(22, b"A.bc", 1) + tried(1, 0, 2) + METHOD % 1 + line
    assert proxy.requests.find(1) is None


def test_a_reverse_name_is_refused_at_once():
    outcome = started(b"127.0.0.2\n", b"a:10.1.2.3\n").from_application(REVERSE, CLIENT)
    line = NEXT + b"(line:685) no more DNS methods, send no such name response\n"
    assert outcome.trace == accepted(32, b"4.in-addr.arpa", 0) + tried(0, 159, 2) + line
    answer = bytes.fromhex("abcd 8003 0001 0000 0000 0000") + REVERSE[12:]
    assert outcome.sent == (Sent("applications", CLIENT, answer),)


def test_a_reverse_name_in_capitals_is_an_ordinary_one():
    outcome = started(b"127.0.0.2\n").from_application(REVERSE.replace(b"arpa", b"ARPA"), CLIENT)
    assert outcome.sent[0].socket == "servers"


def test_a_reverse_name_starts_at_method_159_of_a_list_that_has_one():
    servers = b"".join(b"127.0.1.%d\n" % number for number in range(160))
    outcome = started(servers).from_application(REVERSE, CLIENT)
    assert outcome.sent[0].destination == ("127.0.1.159", 53)


@pytest.mark.parametrize(
    "datagram, lines",
    [
        (
            bytes(11),
            INTAKE + b"(line:412)FromAPP: received 11 data from 127.0.0.1\n"
            + INTAKE + b"(line:415)FromAPP: query too short from 127.0.0.1\n",
        ),
        (
            QUERY[:4] + b"\0\2" + QUERY[6:],
            INTAKE + b"(line:412)FromAPP: received 22 data from 127.0.0.1\n"
            + INTAKE + b"(line:420) pDNSHeader QuestionCount :2\n"
            + INTAKE + b"(line:423)FromAPP: QuestionCount invalid: 2, from: 127.0.0.1\n",
        ),
        (
            QUERY[:12],
            INTAKE + b"(line:412)FromAPP: received 12 data from 127.0.0.1\n"
            + INTAKE + b"(line:420) pDNSHeader QuestionCount :1\n"
            + INTAKE + b"(line:429)FromAPP: domain is empty, from: 127.0.0.1\n",
        ),
    ],
)  # fmt: skip
def test_a_refused_datagram_ends_the_intake_and_takes_no_id(datagram, lines):
    proxy = started(b"127.0.0.2\n")
    outcome = proxy.from_application(datagram, CLIENT)
    assert outcome.trace == b"func: thread_query(line:282) ****QureyThread***: received dns request\n" + lines
    assert (outcome.sent, outcome.number) == ((), None)
    assert proxy.engine.next_number == 0
    assert proxy.from_application(QUERY, CLIENT).trace == b""


def test_a_failed_forward_ends_the_request_in_silence():
    proxy = started(b"10.0.0.1\n127.0.0.2\n")
    outcome = proxy.from_application(QUERY, CLIENT)
    assert outcome.trace.endswith(METHOD % 0 + b"TryNextDNSQueryMethod: id: 0,sendto failed: 101\n")
    assert outcome.sent == ()
    assert proxy.requests.find(0) is None


def test_an_answer_is_relayed_with_the_applications_id_and_then_unknown():
    proxy = started(b"127.0.0.2\n")
    proxy.from_application(QUERY, CLIENT)
    outcome = proxy.from_server(response("0001"), ("127.0.0.2", 4711))
    line = RELAY + b"(line:367) domain a.bc received answer -64.-88.1.1 from 127.0.0.2, we have to delete id:0\n"
    assert outcome.trace == response_received(16, b"127.0.0.2") + line
    assert outcome.sent == (Sent("applications", CLIENT, b"\xab\xcd" + response("0001")[2:]),)
    again = proxy.from_server(response("0001"), SERVER_A)
    line = RELAY + b"(line:338) rsp from: 127.0.0.2, id: 0, request not found\n"
    assert again.trace == response_received(16, b"127.0.0.2") + line


def test_without_answers_the_next_server_is_asked_and_the_last_one_refuses():
    proxy = started(b"127.0.0.2\n127.0.0.3\n")
    proxy.from_application(QUERY, CLIENT)
    first = proxy.from_server(response("0000"), SERVER_A)
    line = RELAY + b"(line:372) rsp from: 127.0.0.2, id: 0, for : a.bc, no such name\n"
    assert first.trace == response_received(16, b"127.0.0.2") + line + tried(0, 1, 2) + METHOD % 0
    assert first.sent == (Sent("servers", SERVER_B, FORWARDED),)
    late = proxy.from_server(response("0001"), SERVER_A)
    line = b"(line:352) id: 0, dns_index:1 current dns rsp from: 127.0.0.2, should from: 127.0.0.3, it seems error\n"
    assert late.trace == response_received(16, b"127.0.0.2") + RELAY + line
    last = proxy.from_server(response("0080"), SERVER_B)
    assert last.sent == (Sent("applications", CLIENT, bytes.fromhex("abcd 8003 0001 0000 0000 0000") + QUERY[12:]),)
    assert proxy.requests.waiting() == []


@pytest.mark.parametrize(
    "count, answers",
    [("0000", False), ("0001", True), ("007f", True), ("0080", False), ("00ff", False), ("0100", True)]
    + [("7fff", False), ("8000", True), ("ffff", False), ("017f", True)],
)
def test_the_answer_count_is_read_unswapped_and_signed(count, answers):
    assert shows_answers(response(count)) is answers


def test_an_id_in_flight_is_served_again_when_the_numbers_wrap():
    proxy = started(b"127.0.0.2\n")
    proxy.from_application(QUERY, CLIENT)
    proxy.engine.next_number = 65535
    assert proxy.from_application(QUERY, CLIENT).number == 65535
    outcome = proxy.from_application(QUERY.replace(b"\x01a", b"\x01z"), ("127.0.0.1", 20002))
    assert outcome.trace == accepted(22, b"z.bc", 0) + tried(0, 0, 1) + METHOD % 0
    assert outcome.sent == (Sent("servers", SERVER_A, FORWARDED),)


def test_a_hit_on_a_query_too_long_to_grow_is_a_miss():
    proxy = started(b"127.0.0.2\n", b"a.bc:10.1.2.3\n")
    assert len(proxy.from_application(QUERY.ljust(8175, b"\0"), CLIENT).sent[0].datagram) == 8191
    assert proxy.from_application(QUERY.ljust(8176, b"\0"), CLIENT).sent[0].destination == SERVER_A
    assert len(proxy.from_application(QUERY.ljust(9000, b"\0"), CLIENT).sent[0].datagram) == 8192
