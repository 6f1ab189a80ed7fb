"""Trace lines that the tests of `trace` put together."""

import json

import ctl

START = """\
read dns: 10.0.0.8
read dns: 10.0.0.9
read hostmap: a.lan:10.0.0.1
dnsproxy: dns_size:2, hostmap_size:1
func: StartDnsSrv(line:118) bind 127.0.0.1:53 success
func: StartDnsSrv(line:124) Add host map: a.lan -> 10.0.0.1
func: StartDnsSrv(line:136) Add KQ DNS to list: 10.0.0.8
func: StartDnsSrv(line:136) Add KQ DNS to list: 10.0.0.9
func: StartDnsSrv(line:154) pthread_create g_thread_answer success
func: StartDnsSrv(line:161) pthread_create thread_query success
"""

START_FAILED = START[: START.index("func:")] + """\
func: StartDnsSrv(line:115) bind 127.0.0.1:53 failed
func: main(line:86) StartDnsSrv failed
"""

RELAY_ENDED = """\
func: thread_answer(line:239) AnswerThread: received dns response.
func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 5 data from 10.0.0.8
func: RecvAndProcessPacketsFromDNSServer(line:327) FromDNSServer: do_answer: answer too short: 5, from: 10.0.0.8
func: thread_answer(line:245) RecvAndProcessPacketsFromDNSServer failed, exit.
"""
ENDED = RELAY_ENDED + "func: main(line:90) StartDnsSrv success\n"

INTAKE_ENDED = """\
func: thread_query(line:282) ****QureyThread***: received dns request
func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 11 data from 127.0.0.1
func: RecvAndProcessPacketsFromLocalApps(line:415)FromAPP: query too short from 127.0.0.1
"""


def accepted(name, number):
    """A query, as far as line 464; one of the lines about its first method follows."""
    size = len(name) + 18
    return (
        "func: thread_query(line:282) ****QureyThread***: received dns request\n"
        f"func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received {size} data from 127.0.0.1\n"
        "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :1\n"
        f"func: RecvAndProcessPacketsFromLocalApps(line:432) received dns request............{name}\n"
        f"func: RecvAndProcessPacketsFromLocalApps(line:464)FromAPP: the request domain is {name}, id:{number}\n"
    )


def looked_at(number, position, methods=3):
    return (
        f"func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: {number}, bReasonIsTimeout:0\n"
        f"func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: {position}, DnsListSize:{methods}\n"
    )


def forwarded(number, position):
    return looked_at(number, position) + (
        "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:0(0: dns, 1:hostmap)\n"
    )


def exhausted(number):
    return looked_at(number, 3) + (
        "func: TryNextDNSQueryMethod(line:685) no more DNS methods, send no such name response\n"
    )


def hit(name, number):
    return (
        looked_at(number, 0)
        + "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:1(0: dns, 1:hostmap)\n"
        + f"func: TryNextDNSQueryMethod(line:669) find {name} from hostmap, ip:10.0.0.1, req id:{number}\n"
    )


def response(line, server="10.0.0.8"):
    return (
        "func: thread_answer(line:239) AnswerThread: received dns response.\n"
        f"func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 47 data from {server}\n"
        f"func: RecvAndProcessPacketsFromDNSServer{line}\n"
    )


def relayed(name, number, server="10.0.0.8"):
    return response(
        f"(line:367) domain {name} received answer 10.9.8.7 from {server}, we have to delete id:{number}", server
    )


def without_answer(name, number, server="10.0.0.8"):
    return response(f"(line:372) rsp from: {server}, id: {number}, for : {name}, no such name", server)


def report(trace):
    """The JSON report on a trace given as text."""
    result = ctl.run("trace", "--json", input=trace)
    return json.loads(result.stdout)
