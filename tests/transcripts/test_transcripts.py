"""Every transcript is as written, on the model and on the real program; a changed one is not."""

import pytest

from transcripts.play import all_files
from transcripts.sides import Mismatch, play_on_model, play_on_program
from transcripts.transcript import parse, read

SCENARIOS = {
    "failed_sends",
    "fallback_two_servers",
    "forwarded_answer",
    "hit_without_room",
    "host_map_hit",
    "late_answer",
    "long_names",
    "name_cut_at_a_pointer",
    "no_such_name",
    "normal_end",
    "nothing_configured",
    "odd_configuration",
    "port_taken",
    "refused_empty",
    "refused_header_only",
    "refused_no_question",
    "refused_pointer_first",
    "refused_reserved_length",
    "refused_root_name",
    "refused_short",
    "refused_two_questions",
    "refused_zero_byte_label",
    "reverse_name",
    "unknown_id",
    "unreachable_server",
    "wrong_source",
}
CONVERSATION = """\
file dns 127.0.0.2
expect trace read dns: 127.0.0.2
expect trace dnsproxy: dns_size:1, hostmap_size:0
expect trace func: StartDnsSrv(line:118) bind 127.0.0.1:53 success
expect trace func: StartDnsSrv(line:136) Add KQ DNS to list: 127.0.0.2
expect trace func: StartDnsSrv(line:154) pthread_create g_thread_answer success
expect trace func: StartDnsSrv(line:161) pthread_create thread_query success
send 127.0.0.1:20001 1234 0100 0001 0000 0000 0000 0161 00 0001 0001
expect trace func: thread_query(line:282) ****QureyThread***: received dns request
expect trace func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 19 data from 127.0.0.1
expect trace func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :1
expect trace func: RecvAndProcessPacketsFromLocalApps(line:432) received dns request............a
expect trace func: RecvAndProcessPacketsFromLocalApps(line:464)FromAPP: the request domain is a, id:0
expect trace func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 0, bReasonIsTimeout:0
expect trace func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 0, DnsListSize:1
expect trace **********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:0(0: dns, 1:hostmap)
expect upstream 127.0.0.2 0000 0100 0001 0000 0000 0000 0161 00 0001 0001
reply 127.0.0.2 0000
expect trace func: thread_answer(line:239) AnswerThread: received dns response.
expect trace func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 2 data from 127.0.0.2
expect trace func: RecvAndProcessPacketsFromDNSServer(line:327) FromDNSServer: do_answer: answer too short: 2, \
from: 127.0.0.2
expect trace func: thread_answer(line:245) RecvAndProcessPacketsFromDNSServer failed, exit.
expect trace func: main(line:90) StartDnsSrv success
expect exit 0
"""


def play_conversation(changed, side):
    assert changed != CONVERSATION
    side(parse("talk.txt", changed))


@pytest.fixture(params=[play_on_model, play_on_program])
def side(request, private_network):
    return request.param


def test_every_scenario_has_its_transcript():
    assert {path.stem for path in all_files()} == SCENARIOS


@pytest.mark.parametrize("path", all_files(), ids=lambda path: path.stem)
def test_a_scenario_is_as_written(path, side):
    side(read(path))


def test_the_conversation_of_the_tests_below_is_right(side):
    side(parse("talk.txt", CONVERSATION))


def test_another_byte_in_a_datagram_is_noticed(side):
    with pytest.raises(Mismatch, match=r"^talk.txt:17: (model|program): sent 00 00 01 .* to 127.0.0.2:53, expected"):
        play_conversation(CONVERSATION.replace("0000 0100 0001 0000", "0100 0100 0001 0000"), side)


def test_another_blank_in_the_trace_is_noticed(side):
    with pytest.raises(Mismatch, match="^talk.txt:13: .*expected .*the request domain is  a, id:0"):
        play_conversation(CONVERSATION.replace("domain is a", "domain is  a"), side)


def test_a_missing_trace_line_is_noticed(side):
    line = "expect trace func: main(line:90) StartDnsSrv success\n"
    with pytest.raises(Mismatch, match="^talk.txt:.*StartDnsSrv success.*which is not written"):
        play_conversation(CONVERSATION.replace(line, ""), side)


def test_a_trace_line_that_never_comes_is_noticed(side):
    line = "expect trace func: main(line:90) StartDnsSrv success\n"
    with pytest.raises(Mismatch, match="^talk.txt:24: (model|program): printed b'', expected"):
        play_conversation(CONVERSATION.replace(line, line * 2), side)


def test_a_datagram_that_is_not_written_is_noticed(side):
    line = "expect upstream 127.0.0.2 0000 0100 0001 0000 0000 0000 0161 00 0001 0001\n"
    last = CONVERSATION.index("reply")
    with pytest.raises(Mismatch):
        play_conversation(CONVERSATION[:last].replace(line, "") + "expect no exit\n", side)


def test_an_intake_that_does_not_end_is_noticed(side, monkeypatch):
    monkeypatch.setenv("DNS_PROXY_DEADLINE", "0.3")
    with pytest.raises(Mismatch):
        play_conversation(CONVERSATION.replace("reply", "expect intake end\nreply"), side)


@pytest.mark.parametrize("end", ["expect exit 1", "expect no exit"])
def test_another_end_is_noticed(side, monkeypatch, end):
    monkeypatch.setenv("DNS_PROXY_DEADLINE", "0.3")
    with pytest.raises(Mismatch):
        play_conversation(CONVERSATION.replace("expect exit 0", end), side)


def test_a_reply_before_any_query_went_out_is_refused(private_network):
    start = CONVERSATION[: CONVERSATION.index("send")]
    with pytest.raises(Mismatch, match="^talk.txt:8: program: the proxy's upstream port is not known before"):
        play_on_program(parse("talk.txt", start + "reply 127.0.0.2 0000\nexpect no exit\n"))
