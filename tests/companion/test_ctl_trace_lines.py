"""`trace`, line by line: what is understood, what is foreign, what is cut."""

import json

import pytest
from trace_lines import START, accepted, forwarded, report

import ctl

EVERY_LINE = """\
read dns: 10.0.0.8
read dns:\x20
read hostmap: a.lan:10.0.0.1
read hostmap:\x20
dnsproxy: dns_size:2, hostmap_size:1
func: main(line:79) StartDnsSrv failed
func: main(line:86) StartDnsSrv failed
func: main(line:90) StartDnsSrv success
func: StartDnsSrv(line:103) socket invalid
func: StartDnsSrv(line:115) bind 127.0.0.1:53 failed
func: StartDnsSrv(line:118) bind 127.0.0.1:53 success
func: StartDnsSrv(line:124) Add host map: a.lan -> 10.0.0.1
func: StartDnsSrv(line:124) Add host map:  ->\x20
func: StartDnsSrv(line:136) Add KQ DNS to list: 10.0.0.8
func: StartDnsSrv(line:136) Add KQ DNS to list:\x20
func: StartDnsSrv(line:151) pthread_create g_thread_answer failed
func: StartDnsSrv(line:154) pthread_create g_thread_answer success
func: StartDnsSrv(line:158) pthread_create thread_query failed
func: StartDnsSrv(line:161) pthread_create thread_query success
func: thread_answer(line:222) Socket SockToDNSServers is invalid, AnswerThread exit
func: thread_answer(line:230) AnswerThread: select failed. exit.
func: thread_answer(line:235) AnswerThread: select timeout.
func: thread_answer(line:239) AnswerThread: received dns response.
func: thread_answer(line:245) RecvAndProcessPacketsFromDNSServer failed, exit.
func: thread_query(line:264) Socket SockToClientApps is invalid, QueryThread exit
func: thread_query(line:273) QureyThread: select failed. exit
func: thread_query(line:282) ****QureyThread***: received dns request
func: RecvAndProcessPacketsFromLocalApps(line:393)RecvAndProcessPacketsFromLocalApps: socket fd is invalid
func: RecvAndProcessPacketsFromLocalApps(line:398)RecvAndProcessPacketsFromLocalApps: recv nothing...
func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 11 data from 127.0.0.1
func: RecvAndProcessPacketsFromLocalApps(line:415)FromAPP: query too short from 127.0.0.1
func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :65535
func: RecvAndProcessPacketsFromLocalApps(line:423)FromAPP: QuestionCount invalid: 65535, from: 127.0.0.1
func: RecvAndProcessPacketsFromLocalApps(line:429)FromAPP: domain is empty, from: 127.0.0.1
func: RecvAndProcessPacketsFromLocalApps(line:432) received dns request............a.lan
func: RecvAndProcessPacketsFromLocalApps(line:464)FromAPP: the request domain is a.lan, id:65535
func: ExtractDomain(line:482)ExtractDomain invalid value:-64
func: ExtractDomain(line:488)ExtractDomain: buffer overflow when parsing qname, chunk_len: 127
func: ExtractDomain(line:504)ExtractDomain: buffer overflow when add suffix dot, chunk_len: 8
func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 0, bReasonIsTimeout:0
func: TryNextDNSQueryMethod(line:618)TryNextDNSQueryMethod: TryNextDNSQueryMethod: id: 7, request not found
func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 159, DnsListSize:2
**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:1(0: dns, 1:hostmap)
**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:0(0: dns, 1:hostmap)
TryNextDNSQueryMethod: id: 0,sendto failed: 101
func: TryNextDNSQueryMethod(line:669) find a.lan from hostmap, ip:10.0.0.255, req id:0
func: TryNextDNSQueryMethod(line:673)DNS service: sendto for host map failed
func: TryNextDNSQueryMethod(line:685) no more DNS methods, send no such name response
func: TryNextDNSQueryMethod(line:703)TryNextDNSQueryMethod: id: 0, sendto failed
func: RecvAndProcessPacketsFromDNSServer(line:308) RecvAndProcessPacketsFromDNSServer: socket fd is invalid
func: RecvAndProcessPacketsFromDNSServer(line:314) RecvAndProcessPacketsFromDNSServer: recv nothing...
func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 11 data from 10.0.0.8
func: RecvAndProcessPacketsFromDNSServer(line:327) FromDNSServer: do_answer: answer too short: 11, from: 10.0.0.8
func: RecvAndProcessPacketsFromDNSServer(line:338) rsp from: 10.0.0.8, id: 9, request not found
func: RecvAndProcessPacketsFromDNSServer(line:352) id: 0, dns_index:1 current dns rsp from: 10.0.0.9, should from: 10.0.0.8, it seems error
func: RecvAndProcessPacketsFromDNSServer(line:352) id: 0, dns_index:159 current dns rsp from: 10.0.0.9, should from: , it seems error
func: RecvAndProcessPacketsFromDNSServer(line:364) id: 0: sendto failed: 1
func: RecvAndProcessPacketsFromDNSServer(line:367) domain a.lan received answer -64.-88.1.1 from 10.0.0.8, we have to delete id:0
func: RecvAndProcessPacketsFromDNSServer(line:372) rsp from: 10.0.0.8, id: 0, for : a.lan, no such name
"""

FOREIGN_LINES = [
    "",
    "Nov 21 09:00:00 host systemd[1]: Started.",
    "func: ",
    "func: main",
    "func: main(line:",
    "func: main(line:90",
    "func: main(line:90)",
    "func: main(line:90) StartDnsSrv success ",
    "func: main(line:91) StartDnsSrv success",
    "func: main(line:99999999999999999999) StartDnsSrv success",
    "func: thread_query(line:90) StartDnsSrv success",
    "func: StartDnsSrv(line:118) bind 127.0.0.1:fifty success",
    "func: RecvAndProcessPacketsFromLocalApps(line:464)FromAPP: the request domain is a.lan, id:",
    "func: RecvAndProcessPacketsFromLocalApps(line:464)FromAPP: the request domain is a.lan",
    "TryNextDNSQueryMethod: id: 0,sendto failed: 1 ",
    "**********hostmap****",
    "dnsproxy: dns_size:2, hostmap_size:",
]


def test_every_line_of_the_proxy_is_understood():
    for line in EVERY_LINE.splitlines():
        assert report(line + "\n")["not_understood"] == 0, line


@pytest.mark.parametrize("line", FOREIGN_LINES)
def test_foreign_line_is_counted_as_not_understood(line):
    result = report(START + line + "\n")
    assert result["not_understood"] == 1
    assert result["first_not_understood"] == 11
    assert result["lines"] == 11


def test_trace_that_begins_in_the_middle():
    trace = (
        "main(line:90) StartDnsSrv suc\n"
        "func: RecvAndProcessPacketsFromDNSServer(line:367) domain b.lan received answer 1.2.3.4 from 10.0.0.8, "
        "we have to delete id:77\n"
    )
    result = ctl.run("trace", input=trace)
    assert result.stdout.startswith(
        "2 lines, 0 starts; the proxy was started before the first line\n"
        "not understood: 1 line, the first is line 1\n"
    )
    assert "10.0.0.8                    -             1             0             0\n" in result.stdout
    assert result.returncode == 0


def test_last_line_that_is_cut_is_left_out():
    result = ctl.run("trace", input=START + accepted("b.lan", 0)[:-2])
    assert "the last line is unfinished, and left out\n" in result.stdout
    assert "  accepted                                                 0\n" in result.stdout
    assert result.returncode == 0


def test_names_may_hold_what_surrounds_them():
    name = "x, id:3 received answer 1.2.3.4 from 9.9.9.9, we have to delete id:5"
    result = report(START + accepted(name, 0) + forwarded(0, 1))
    assert result["busiest"] == [{"name": name, "queries": 1}]
    assert result["queries"]["waiting"] == 1


def test_names_can_not_write_on_the_terminal():
    result = ctl.run("trace", input=START + accepted("\x1b[2J\x9b\xff\\.lan", 0))
    assert "  \\027[2J\\155\\255\\\\.lan  " in result.stdout
    assert all(" " <= character <= "~" or character == "\n" for character in result.stdout)


def test_line_without_an_end_is_cut(tmp_path):
    path = tmp_path / "trace"
    path.write_text(START + "read hostmap: " + "x" * 3_000_000 + "\n" + accepted("b.lan", 0) + forwarded(0, 1))
    result = json.loads(ctl.run("trace", "--json", path).stdout)
    assert result["lines"] == 19
    assert result["not_understood"] == 1
    assert result["queries"]["accepted"] == 1
