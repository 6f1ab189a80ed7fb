"""Ends in the middle of work on both threads: status 0, and each line once, whole and in its place.

The sockets close while the query thread is still at it, so its last steps may fail; nothing else may.
"""

import re
import sys

import pytest

import lines
from harness import Application, Proxy, Upstream, from_hex, query, raw_id, wait_until

SHORT_DATAGRAM = bytes(11)
FILES = {"dns": b"127.0.0.2\n", "hostmap": b"a:10.0.0.1\n"}
WAITING = 40
SENT_DURING_THE_END = 200
ANSWER = from_hex("81 80 00 00 00 01 00 00 00 00 0A 09 08 07")

ANSWER_THREAD = re.compile(r"func: (thread_answer|RecvAndProcessPacketsFromDNSServer)\(")
NAME = re.compile(r"func: RecvAndProcessPacketsFromLocalApps\(line:432\) received dns request\.{12}([ab])")
STARTED = [
    "read dns: 127.0.0.2",
    "read hostmap: a:10.0.0.1",
    "dnsproxy: dns_size:1, hostmap_size:1",
    "func: StartDnsSrv(line:118) bind 127.0.0.1:53 success",
    "func: StartDnsSrv(line:124) Add host map: a -> 10.0.0.1",
    "func: StartDnsSrv(line:136) Add KQ DNS to list: 127.0.0.2",
    "func: StartDnsSrv(line:154) pthread_create g_thread_answer success",
    "func: StartDnsSrv(line:161) pthread_create thread_query success",
]
ANSWER_THREAD_ENDS = [
    "func: thread_answer(line:239) AnswerThread: received dns response.",
    "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 11 data from 127.0.0.2",
    "func: RecvAndProcessPacketsFromDNSServer(line:327) FromDNSServer: "
    "do_answer: answer too short: 11, from: 127.0.0.2",
    "func: thread_answer(line:245) RecvAndProcessPacketsFromDNSServer failed, exit.",
]
SERVICE_ENDED = "func: main(line:90) StartDnsSrv success"
NO_SOCKET_ANY_MORE = [
    ["func: thread_query(line:273) QureyThread: select failed. exit"],
    [
        "func: thread_query(line:282) ****QureyThread***: received dns request",
        "func: RecvAndProcessPacketsFromLocalApps(line:398)RecvAndProcessPacketsFromLocalApps: recv nothing...",
    ],
]


def query_lines(number, name):
    if name == "a":
        return lines.intake(19, "a", number) + lines.host_map_hit(number, 2, "a", "10.0.0.1")
    return lines.intake(19, "b", number) + lines.host_map_tried(number, 2) + lines.forwarded(number, 1, 2)


def failed_send(number, name):
    """What follows a query's lines when its socket was closed before the send."""
    if name == "a":
        return "func: TryNextDNSQueryMethod(line:673)DNS service: sendto for host map failed"
    return f"TryNextDNSQueryMethod: id: {number},sendto failed: 9"


def is_end_of_query_thread(rest):
    """The lines end where the process did: anywhere in one of the two ways in which the thread finds out."""
    return any(rest == way[: len(rest)] for way in NO_SOCKET_ANY_MORE)


def check_query_thread(printed):
    """Whole queries with ids in sequence, the last one possibly cut at a line. Returns how many began."""
    number = 0
    while len(printed) > 3 and (found := NAME.fullmatch(printed[3])):
        name = found.group(1)
        wanted = query_lines(number, name)
        assert printed[: len(wanted)] == wanted[: len(printed)], f"query {number}"
        printed = printed[len(wanted) :]
        number += 1
        if printed[:1] == [failed_send(number - 1, name)]:
            printed = printed[1:]
    assert is_end_of_query_thread(printed) or printed == lines.intake(19, "a", number)[: len(printed)], printed
    return number


def check_answer_thread(printed):
    """Relayed answers in any order, each once, then the end."""
    assert printed[-4:] == ANSWER_THREAD_ENDS
    relays = [printed[at : at + 3] for at in range(0, len(printed) - 4, 3)]
    numbers = [int(relay[-1].rsplit(":", 1)[1]) for relay in relays]
    assert len(set(numbers)) == len(numbers)
    for number, relay in zip(numbers, relays):
        assert relay == lines.relayed(16, "127.0.0.2", number, "b", "10.9.8.7")


def end_in_the_middle_of_work(server, app, turn):
    for number in range(WAITING):
        app.send(query(number, "b"))
        assert server.receive()[:2] == raw_id(number)
    ending_at = 20 + 7 * turn % 150
    for number in range(SENT_DURING_THE_END):
        app.send(query(number, "ab"[number % 2]))
        if number < WAITING:
            server.send(raw_id(number) + ANSWER)
        if number == ending_at:
            server.send(SHORT_DATAGRAM)


def waiting_datagrams(peer):
    peer.socket.setblocking(False)
    datagrams = []
    try:
        while True:
            datagrams.append(peer.socket.recv(512))
    except BlockingIOError:
        return datagrams


def check_whole_trace(printed, forwarded):
    assert printed[: len(STARTED)] == STARTED
    rest = printed[len(STARTED) :]
    assert rest.count(SERVICE_ENDED) == 1
    rest.remove(SERVICE_ENDED)
    check_answer_thread([line for line in rest if ANSWER_THREAD.match(line)])
    begun = check_query_thread([line for line in rest if not ANSWER_THREAD.match(line)])
    for datagram in forwarded:
        assert int.from_bytes(datagram[:2], sys.byteorder) < begun, "a query went out whose lines are lost"


@pytest.mark.parametrize("turn", range(40))
def test_end_under_load_on_a_pipe(turn):
    with Proxy(**FILES) as proxy, Upstream("127.0.0.2") as server, Application() as app:
        printed = [line.decode() for line in proxy.trace.take(len(STARTED))]
        end_in_the_middle_of_work(server, app, turn)
        printed += [line.decode() for line in proxy.trace.rest_until_end()]
        proxy.expect_exit(0)
        check_whole_trace(printed, waiting_datagrams(server))


@pytest.mark.parametrize("turn", range(20))
def test_end_under_load_on_a_file(turn, tmp_path):
    path = tmp_path / "trace"
    with open(path, "wb") as output, Proxy(**FILES, stdout=output) as proxy:
        with Upstream("127.0.0.2") as server, Application() as app:
            wait_until(lambda: path.read_text().splitlines() == STARTED, "the trace of the start")
            end_in_the_middle_of_work(server, app, turn)
            proxy.expect_exit(0)
            check_whole_trace(path.read_text().splitlines(), waiting_datagrams(server))


MANY_SERVERS = 100_000


@pytest.mark.parametrize("turn", range(8))
def test_end_while_the_query_thread_copies_a_long_method_list(turn):
    """The list is so long that the end finds the thread in the middle of a copy: what it reads must last."""
    files = {"dns": b"127.0.0.2\n" * MANY_SERVERS, "hostmap": b"a:10.0.0.1\n"}
    with Proxy(**files) as proxy, Upstream("127.0.0.2") as server, Application() as app:
        assert proxy.trace.take_until(STARTED[-1])[-2:] == [line.encode() for line in STARTED[-2:]]
        app.send(query(0, "b"))
        server.receive()
        for number in range(50):
            app.send(query(number, "a"))
        for _ in range(turn):
            app.receive()
        server.send(SHORT_DATAGRAM)
        printed = proxy.trace.rest_until_end()
        proxy.expect_exit(0)
        assert printed.count(SERVICE_ENDED.encode()) == 1
