"""Forged responses that the answer thread takes while the query thread still keeps the lines of their query: the
query's name is in the relay's lines first. The proxy files a query, with the next id, before it hands over any line
about it."""

import pytest
from trace_lines import START, accepted, exhausted, forwarded, looked_at, relayed, report, response, without_answer

NOT_FOUND = (
    "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: {0}, bReasonIsTimeout:0\n"
    "func: TryNextDNSQueryMethod(line:618)TryNextDNSQueryMethod: TryNextDNSQueryMethod: id: {0}, request not found\n"
)
FIRST = accepted("b.lan", 0) + forwarded(0, 1)
QUIET = response("(line:338) rsp from: 10.0.0.8, id: 9, request not found")
LINES_OF_A_RUN = "read dns: 6.6.6.6\ndnsproxy: dns_size:1, hostmap_size:0"


def counts(trace):
    result = report(START + FIRST + trace)
    assert result["not_understood"] == 0
    assert result["lines"] == (START + FIRST + trace).count("\n")
    assert result["starts"] == 1
    queries = result["queries"]
    names = [waiting["name"] for waiting in result["waiting"]]
    servers = [[server[key] for key in ("asked", "answers", "empty")] for server in result["servers"]]
    return [queries[key] for key in ("accepted", "answered", "no_such_name", "accepted_before")], names, servers


# Names of which each could end earlier, or go on.
NAMES = {
    "plain": "early.lan",
    "its own answer": "x received answer 1.2.3.4 from 10.0.0.8, we have to delete id:1\n" + LINES_OF_A_RUN,
    "no answer of its own": "x, no such name\n" + looked_at(1, 2) + LINES_OF_A_RUN,
    "all that follows a shorter name": "x received answer 1.2.3.4 from 10.0.0.8, we have to delete id:1\n"
    + accepted("x", 1)
    + NOT_FOUND.format(1)
    + "y",
    "the line of a query that waits, of another id": "b.lan received answer 1.2.3.4 from 10.0.0.8, "
    "we have to delete id:7\n" + LINES_OF_A_RUN,
}


@pytest.mark.parametrize("name", NAMES.values(), ids=NAMES)
def test_an_answer_before_the_lines_of_its_query(name):
    trace = relayed(name, 1) + accepted(name, 1) + NOT_FOUND.format(1) + accepted("c.lan", 2) + forwarded(2, 1)
    assert counts(trace) == ([3, 1, 0, 0], ["b.lan", "c.lan"], [[2, 1, 0], [0, 0, 0]])


@pytest.mark.parametrize("name", NAMES.values(), ids=NAMES)
def test_an_answer_while_the_query_is_about_to_be_sent(name):
    trace = relayed(name, 1) + accepted(name, 1) + forwarded(1, 1) + QUIET * 8
    assert counts(trace) == ([2, 1, 0, 0], ["b.lan"], [[2, 1, 0], [0, 0, 0]])


@pytest.mark.parametrize("name", NAMES.values(), ids=NAMES)
def test_an_empty_response_has_the_relay_ask_the_second_server_first(name):
    trace = without_answer(name, 1) + forwarded(1, 2) + accepted(name, 1) + forwarded(1, 1)
    assert counts(trace + relayed(name, 1, "10.0.0.9")) == ([2, 1, 0, 0], ["b.lan"], [[2, 0, 1], [1, 1, 0]])


@pytest.mark.parametrize("flood", [0, 1, 30, 200])
@pytest.mark.parametrize("name", NAMES.values(), ids=NAMES)
def test_both_servers_empty_before_the_lines_of_their_query(name, flood):
    trace = without_answer(name, 1) + forwarded(1, 2) + without_answer(name, 1, "10.0.0.9") + exhausted(1)
    trace += QUIET * flood + accepted(name, 1) + NOT_FOUND.format(1)
    assert counts(trace) == ([2, 0, 1, 0], ["b.lan"], [[1, 0, 1], [1, 0, 1]])


def test_a_response_from_elsewhere_names_nobody():
    wrong = response("(line:352) id: 1, dns_index:1 current dns rsp from: 9.9.9.9, should from: 10.0.0.8, it seems error")
    trace = wrong + relayed("early.lan", 1) + accepted("early.lan", 1) + NOT_FOUND.format(1)
    assert counts(trace) == ([2, 1, 0, 0], ["b.lan"], [[1, 1, 0], [0, 0, 0]])


@pytest.mark.parametrize("between", [QUIET, accepted("c.lan", 2) + exhausted(2)], ids=["the relay", "the intake"])
def test_neither_worker_could_send_it_and_one_goes_on_before_the_other_says_so(between):
    failed = "TryNextDNSQueryMethod: id: 1,sendto failed: 101\n"
    trace = without_answer("early.lan", 1) + forwarded(1, 2) + accepted("early.lan", 1) + forwarded(1, 2)
    accepted_queries = 2 + between.count("(line:464)")
    assert counts(trace + failed + between + failed)[0] == [accepted_queries, 0, accepted_queries - 2, 0]


def test_a_query_thread_that_has_taken_the_next_query_has_said_what_its_last_send_came_to():
    failed = without_answer("b.lan", 0) + forwarded(0, 2) + "TryNextDNSQueryMethod: id: 0,sendto failed: 101\n"
    early = without_answer("early.lan", 1) + forwarded(1, 2)
    trace = early + failed + accepted("early.lan", 1) + forwarded(1, 2)
    assert counts(trace)[:2] == ([2, 0, 0, 0], ["early.lan"])


def test_an_answer_that_could_not_be_relayed():
    failed = relayed("early.lan", 1)
    failed = failed.replace("func: RecvAndProcessPacketsFromDNSServer(line:367)", "func: RecvAndProcessPacketsFromDNSServer"
                            "(line:364) id: 1: sendto failed: 1\nfunc: RecvAndProcessPacketsFromDNSServer(line:367)")
    trace = failed + accepted("early.lan", 1) + NOT_FOUND.format(1)
    assert counts(trace)[0] == [2, 1, 0, 0]


def test_the_first_query_of_a_second_run_has_the_name_of_the_first_ones():
    again = START + relayed("b.lan", 0) + accepted("b.lan", 0) + NOT_FOUND.format(0)
    result = report(START + FIRST + relayed("b.lan", 0) + again)
    assert (result["queries"]["accepted"], result["queries"]["answered"], result["not_understood"]) == (2, 2, 0)


def test_only_the_next_query_can_be_shown_before_its_lines():
    result = report(START + FIRST + relayed("later.lan", 2) + accepted("early.lan", 1) + forwarded(1, 1))
    assert result["not_understood"] == 1
    assert (result["queries"]["accepted"], result["queries"]["answered"]) == (2, 0)


def test_more_forged_responses_than_are_looked_through_cost_one_line_at_most():
    trace = without_answer("x", 1) + forwarded(1, 2) + without_answer("x", 1, "10.0.0.9") + exhausted(1) + QUIET * 400
    trace += accepted("x", 1) + NOT_FOUND.format(1) + accepted("c.lan", 2) + forwarded(2, 1) + relayed("c.lan", 2)
    result = counts(trace)
    assert result[0] == [3, 1, 1, 0]
    assert result[1] == ["b.lan"]
