"""`trace`: what it counts, and where it sees queries and workers stand."""

import pytest
from harness import Application, Upstream, from_hex, query, wait_until
from trace_lines import (
    ENDED, INTAKE_ENDED, RELAY_ENDED, START, START_FAILED, accepted, forwarded, hit, report, without_answer,
)

import ctl



def test_text_report_of_a_real_conversation(tmp_path):
    path = tmp_path / "trace"
    with open(path, "wb") as output:
        with ctl.tracing_into(output, b"127.0.0.2\n127.0.0.3\n", b"a.lan:10.0.0.1\n") as proxy:
            hold_a_conversation(proxy)
    result = ctl.run("trace", path)
    assert result.stdout == """\
90 lines, 1 start; the proxy has ended
intake: ended in line 85 by a datagram of 11 bytes from 127.0.0.1, shorter than a header
relay:  ended in line 88 by a datagram of 5 bytes from 127.0.0.2, shorter than a header

queries
  accepted                                                 5
  answered from the host map                               2
  answered by a server                                     1
  answered "no such name"                                  1
  still waiting for a server                               0

server                  asked       answers         empty       waiting
127.0.0.2                   3             1             1             0
127.0.0.3                   1             0             1             0

dropped
  query shorter than a header                              1
  response shorter than a header                           1
  response to no waiting query                             1
  response from the wrong server                           1
  query still waiting at the end of a run                  1

busiest names
  a.lan                                                    2
  b.lan                                                    1
  c.lan                                                    1
  d.lan                                                    1
"""
    assert result.stderr == ""
    assert result.returncode == 0


def hold_a_conversation(proxy):
    """Two hits, a relayed answer, a name that nobody knows, one that is left waiting; then both workers end."""
    with Application() as application, Upstream("127.0.0.2") as first, Upstream("127.0.0.3") as second:
        for number in (1, 2):
            application.send(query(number, "a.lan"))
            assert application.receive()[-4:] == from_hex("0A 00 00 01")
        application.send(query(3, "b.lan"))
        asked = first.receive()
        second.send(ctl.empty_response(asked), first.last_sender)
        first.send(asked[:2] + from_hex("81 80 00 01 00 01 00 00 00 00") + from_hex("0A 09 08 07"))
        assert application.receive()[:2] == from_hex("00 03")
        first.send(asked)
        application.send(query(4, "c.lan"))
        first.send(ctl.empty_response(first.receive()))
        second.send(ctl.empty_response(second.receive()))
        assert ctl.is_no_such_name(application.receive())
        application.send(query(5, "d.lan"))
        first.receive()
        threads = proxy.threads()
        application.send(bytes(11))
        wait_until(lambda: threads[-1] not in proxy.threads(), "the end of the query thread")
        first.send(bytes(5))
        assert proxy.process.wait(10) == 0


def test_text_report_without_anything_remarkable():
    result = ctl.run("trace", "-", input=START)
    assert result.stdout == """\
10 lines, 1 start; the proxy serves
intake: no end seen
relay:  no end seen

queries
  accepted                                                 0
  answered from the host map                               0
  answered by a server                                     0
  answered "no such name"                                  0
  still waiting for a server                               0

server                  asked       answers         empty       waiting
10.0.0.8                    0             0             0             0
10.0.0.9                    0             0             0             0
"""
    assert result.returncode == 0


def test_waiting_queries_are_listed_with_their_server():
    trace = START + accepted("b.lan", 0) + forwarded(0, 1) + accepted("c.lan", 1) + forwarded(1, 2)
    result = report(trace)
    assert result["queries"]["waiting"] == 2
    assert result["waiting"] == [
        {"name": "b.lan", "server": "10.0.0.8"},
        {"name": "c.lan", "server": "10.0.0.9"},
    ]
    assert [server["waiting"] for server in result["servers"]] == [1, 1]
    assert "\nwaiting\n  b.lan for 10.0.0.8\n  c.lan for 10.0.0.9\n" in ctl.run("trace", input=trace).stdout


def test_query_that_the_system_refused_to_send_waits_no_more():
    result = report(START + accepted("b.lan", 0) + forwarded(0, 1) + "TryNextDNSQueryMethod: id: 0,sendto failed: 101\n")
    assert result["queries"]["waiting"] == 0
    assert result["dropped"]["not_sent_to_server"] == 1
    assert result["servers"][0]["asked"] == 0


def test_send_that_the_system_refused_is_that_of_the_server_asked_last():
    refused = "TryNextDNSQueryMethod: id: 0,sendto failed: 101\n"
    result = report(
        START + accepted("b.lan", 0) + forwarded(0, 1) + without_answer("b.lan", 0) + forwarded(0, 2) + refused
    )
    first, second = result["servers"]
    assert (first["address"], first["asked"], first["empty"]) == ("10.0.0.8", 1, 1)
    assert (second["address"], second["asked"], second["empty"]) == ("10.0.0.9", 0, 0)


def test_query_whose_id_still_waits_is_lost():
    others = "".join(accepted("a.lan", number) + hit("a.lan", number) for number in range(1, 65536))
    result = report(START + accepted("b.lan", 0) + forwarded(0, 1) + others + accepted("c.lan", 0) + forwarded(0, 1))
    assert result["queries"]["accepted"] == 65537
    assert result["queries"]["waiting"] == 1
    assert result["dropped"]["id_still_waiting"] == 1
    assert result["waiting"] == [{"name": "b.lan", "server": "10.0.0.8"}]


def test_a_new_start_ends_what_was_before():
    ended = (
        "func: thread_query(line:282) ****QureyThread***: received dns request\n"
        "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 30 data from 127.0.0.1\n"
        "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :2\n"
        "func: RecvAndProcessPacketsFromLocalApps(line:423)FromAPP: QuestionCount invalid: 2, from: 127.0.0.1\n"
    )
    before = report(START + accepted("b.lan", 0) + forwarded(0, 1) + ended)
    assert before["intake"] == {
        "ended": True,
        "line": 22,
        "cause": "a datagram of 30 bytes from 127.0.0.1 with 2 questions",
    }
    after = report(START + accepted("b.lan", 0) + forwarded(0, 1) + ended + START)
    assert after["starts"] == 2
    assert after["state"] == "serving"
    assert after["intake"] == {"ended": False}
    assert after["dropped"]["lost_at_end"] == 1


READABLE = "func: thread_query(line:282) ****QureyThread***: received dns request\n"


@pytest.mark.parametrize(
    ("lines", "worker", "cause"),
    [
        (
            READABLE + "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 12 data from 127.0.0.1\n"
            "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :1\n"
            "func: RecvAndProcessPacketsFromLocalApps(line:429)FromAPP: domain is empty, from: 127.0.0.1\n",
            "intake",
            "a datagram of 12 bytes from 127.0.0.1 with an empty name",
        ),
        (
            READABLE + "func: RecvAndProcessPacketsFromLocalApps(line:398)RecvAndProcessPacketsFromLocalApps: recv nothing...\n",
            "intake",
            "a failed receive call",
        ),
        ("func: thread_query(line:273) QureyThread: select failed. exit\n", "intake", "a failed wait for its socket"),
        (
            "func: thread_answer(line:239) AnswerThread: received dns response.\n"
            "func: RecvAndProcessPacketsFromDNSServer(line:314) RecvAndProcessPacketsFromDNSServer: recv nothing...\n",
            "relay",
            "a failed receive call",
        ),
        ("func: thread_answer(line:230) AnswerThread: select failed. exit.\n", "relay", "a failed wait for its socket"),
    ],
)
def test_what_ended_a_worker(lines, worker, cause):
    assert report(START + lines)[worker]["cause"] == cause


@pytest.mark.parametrize(
    ("trace", "state"),
    [
        (START[: START.index("func:")], "starting"),
        (START, "serving"),
        (START + INTAKE_ENDED, "not_taking_queries"),
        (START + ENDED, "ended"),
        (START_FAILED, "not_started"),
        ("", "no_start_seen"),
    ],
)
def test_state_of_the_run(trace, state):
    assert report(trace)["state"] == state


def test_a_proxy_whose_intake_has_ended_does_not_serve():
    result = ctl.run("trace", input=START + INTAKE_ENDED)
    assert result.stdout.startswith(
        "13 lines, 1 start; the proxy takes no queries any more\nintake: ended in line 13 by a datagram of 11 bytes"
    )


def test_report_of_a_relay_that_has_ended():
    result = report(START + RELAY_ENDED)
    assert result["relay"] == {
        "ended": True,
        "line": 13,
        "cause": "a datagram of 5 bytes from 10.0.0.8, shorter than a header",
    }


def test_busiest_names_come_first():
    trace = START
    for number, name in enumerate(["b.lan", "c.lan", "c.lan", "a.lan", "b.lan", "c.lan"]):
        trace += accepted(name, number) + forwarded(number, 1)
    assert report(trace)["busiest"] == [
        {"name": "c.lan", "queries": 3},
        {"name": "b.lan", "queries": 2},
        {"name": "a.lan", "queries": 1},
    ]


def test_names_asked_for_least_are_forgotten_when_there_are_too_many():
    names = ["busy.lan"] * 3 + [f"n{number}.lan" for number in range(200_001)]
    queries = (accepted(name, number % 65536) + hit(name, number % 65536) for number, name in enumerate(names))
    result = report(START + "".join(queries))
    assert result["busiest"][0] == {"name": "busy.lan", "queries": 3}
    assert result["busiest_are_exact"] is False
    assert result["queries"]["accepted"] == 200_004
