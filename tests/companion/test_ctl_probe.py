"""`probe` and `probe --upstreams`: who answers, how fast, and what happens to those who do not."""

import os
import re
import subprocess

import pytest
from harness import Application, Upstream, from_hex, query, wait_until
from harness.faults import as_user
from harness.proxy import DNS_FILE, write_configuration

import ctl

# A server has a second to answer.
pytestmark = pytest.mark.in_its_time

HOST_MAP = b"a.lan:10.0.0.1\n"
QUESTION = from_hex("01 31 01 30 01 30 03 31 32 37 07 69 6E 2D 61 64 64 72 04 61 72 70 61 00 00 0C 00 01")
QUERY_BEHIND_ID = from_hex("01 00 00 01 00 00 00 00 00 00") + QUESTION
NXDOMAIN = from_hex("81 83 00 01 00 00 00 00 00 00")
REFUSED = from_hex("81 05 00 01 00 00 00 00 00 00")
ONE_RECORD = from_hex("81 80 00 01 00 01 00 00 00 00")
RECORD = from_hex("C0 0C 00 0C 00 01 00 00 00 3C 00 02 C0 0C")


def answered(words=""):
    return re.compile(rf"127\.0\.0\.1:53  answered in \d+\.\d\d ms{re.escape(words)}\n")


def reply(header, tail=b""):
    return lambda datagram: [datagram[:2] + header + QUESTION + tail]


def silent(datagram):
    return []


def test_running_proxy_answers_by_itself():
    with ctl.serving(dns=b"127.0.0.2\n", hostmap=HOST_MAP) as proxy, Upstream("127.0.0.2") as server:
        result = ctl.run("probe")
        assert answered().fullmatch(result.stdout)
        assert result.returncode == 0
        server.assert_nothing_received()
        proxy.expect_trace(
            [
                "func: thread_query(line:282) ****QureyThread***: received dns request",
                "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 40 data from 127.0.0.1",
                "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :1",
                "func: RecvAndProcessPacketsFromLocalApps(line:432) received dns request............1.0.0.127.in-addr.arpa",
                "func: RecvAndProcessPacketsFromLocalApps(line:464)FromAPP: the request domain is 1.0.0.127.in-addr.arpa, id:0",
                "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 0, bReasonIsTimeout:0",
                "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 159, DnsListSize:2",
                "func: TryNextDNSQueryMethod(line:685) no more DNS methods, send no such name response",
            ]
        )


def test_nobody_listens():
    result = ctl.run("probe")
    assert result.stdout == "127.0.0.1:53  nobody listens there\n"
    assert result.returncode == 1


def test_no_answer_within_the_time():
    with ctl.answering("127.0.0.1", silent):
        result = ctl.run("probe", "--timeout", 50)
    assert result.stdout == "127.0.0.1:53  no answer within 50 ms\n"
    assert result.returncode == 1


def test_proxy_whose_intake_has_ended_does_not_answer():
    with ctl.serving(hostmap=HOST_MAP) as proxy, Application() as application:
        threads = proxy.threads()
        application.send(b"x")
        proxy.expect_query_thread_end(threads)
        result = ctl.run("probe", "--timeout", 50)
    assert result.stdout == "127.0.0.1:53  no answer within 50 ms\n"
    assert result.returncode == 1


def test_another_program_on_the_port():
    write_configuration(dns=b"127.0.0.2\n", hostmap=None)
    with ctl.answering("127.0.0.1", reply(NXDOMAIN)):
        result = ctl.run("probe")
    assert answered(", but not in the proxy's words: another program has the port").fullmatch(result.stdout)
    assert result.returncode == 1


def test_question_is_well_formed_and_its_id_random():
    with ctl.answering("127.0.0.1", reply(NXDOMAIN)) as received:
        for _ in range(4):
            ctl.run("probe")
    assert [datagram[2:] for datagram in received] == [QUERY_BEHIND_ID] * 4
    assert len({datagram[:2] for datagram in received}) > 1


def test_datagrams_that_are_no_answer_are_passed_over():
    def replies(datagram):
        another_id = bytes([datagram[0] ^ 1]) + datagram[1:2]
        proxys = from_hex("80 03 00 01 00 00 00 00 00 00") + QUESTION
        another_question = QUESTION.replace(b"127", b"126")
        return [
            b"",
            datagram[:11],
            another_id + proxys,
            datagram,
            datagram[:2] + proxys[:10] + another_question,
            datagram[:2] + proxys,
        ]

    with ctl.answering("127.0.0.1", replies):
        result = ctl.run("probe")
    assert answered().fullmatch(result.stdout)
    assert result.returncode == 0


def test_with_160_servers_the_last_of_them_answers():
    dns = b"".join(b"127.0.1.%d\n" % (1 + at) for at in range(160))
    with ctl.serving(dns=dns), ctl.answering("127.0.1.160", reply(ONE_RECORD, RECORD)) as received:
        result = ctl.run("probe")
        assert received[0][2:] == QUERY_BEHIND_ID
    assert answered(", by a server: there are enough of them for reverse names").fullmatch(result.stdout)
    assert result.returncode == 0


def test_results_never_go_to_a_server_when_the_output_is_closed():
    write_configuration(dns=b"127.0.0.2\n" * 150, hostmap=None)
    command = ["sh", "-c", 'exec "$0" probe --upstreams >&-', ctl.ctl_path()]
    with ctl.answering("127.0.0.2", reply(NXDOMAIN)) as received:
        result = subprocess.run(command, stderr=subprocess.PIPE, encoding="ascii", check=False)
    assert result.stderr == "dns_proxy_ctl: The results could not be written: Bad file descriptor.\n"
    assert result.returncode == 74
    assert [datagram[2:] for datagram in received] == [QUERY_BEHIND_ID] * 150


def test_every_upstream_answers():
    write_configuration(dns=b"127.0.0.2\n127.0.0.3\n127.0.0.4\n", hostmap=None)
    with ctl.answering("127.0.0.2", reply(NXDOMAIN)) as received, ctl.answering(
        "127.0.0.3", reply(ONE_RECORD, RECORD)
    ), ctl.answering("127.0.0.4", reply(REFUSED)):
        result = ctl.run("probe", "--upstreams")
    lines = [re.sub(r"\d+\.\d\d ms", "N ms", line) for line in result.stdout.splitlines()]
    assert lines == [
        "server 1  127.0.0.2        answered in N ms (no such name)",
        "server 2  127.0.0.3        answered in N ms (1 record)",
        "server 3  127.0.0.4        answered in N ms (refused)",
    ]
    assert received[0][2:] == QUERY_BEHIND_ID
    assert result.returncode == 0


def test_upstreams_that_do_not_answer():
    write_configuration(dns=b"127.0.0.2\n127.0.0.3\n\n127.0.0.1\n224.0.0.251\n127.0.0.4\n", hostmap=None)
    with ctl.answering("127.0.0.2", silent), ctl.answering("127.0.0.1", silent) as received_by_proxy, ctl.answering(
        "127.0.0.4", reply(NXDOMAIN)
    ):
        result = ctl.run("probe", "--upstreams", "--timeout", 1000)
    lines = [re.sub(r"\d+\.\d\d ms", "N ms", line) for line in result.stdout.splitlines()]
    assert lines == [
        "server 1  127.0.0.2        no answer within 1000 ms: queries that come to it wait until it answers",
        "server 2  127.0.0.3        nobody listens there: queries that come to it wait until it answers",
        "server 3  255.255.255.255  no address: queries that come to it are dropped",
        "server 4  127.0.0.1        it is the proxy itself: queries that come to it circle for ever",
        "server 5  224.0.0.251      can't be asked (Network is unreachable): queries that come to it are dropped",
        "server 6  127.0.0.4        answered in N ms (no such name)",
    ]
    assert received_by_proxy == []
    assert result.returncode == 1


def test_query_waits_for_a_server_at_which_nobody_listens():
    with ctl.serving(dns=b"127.0.0.3\n127.0.0.2\n") as proxy, Application() as application:
        with Upstream("127.0.0.2") as second:
            application.send(query(1, "some.lan"))
            ctl.wait_for_reverse_answer(application)
            second.assert_nothing_received()
        with Upstream("127.0.0.3") as first:
            first.send(from_hex("00 00 81 80 00 01 00 01 00 00 00 00 00 01 02 03"), ("127.0.0.1", proxy.upstream_port()))
            assert application.receive()[:2] == from_hex("00 01")


def test_servers_beyond_the_first_two_hundred_are_asked_too():
    dns = b"127.0.0.2\n" * 250 + b"127.0.0.3\n"
    write_configuration(dns=dns, hostmap=None)
    with ctl.answering("127.0.0.2", reply(NXDOMAIN)) as received, ctl.answering("127.0.0.3", reply(NXDOMAIN)):
        result = ctl.run("probe", "--upstreams")
    assert len(received) == 250
    assert result.stdout.count("answered in") == 251
    assert result.returncode == 0


def test_no_server_to_ask():
    write_configuration(dns=None, hostmap=HOST_MAP)
    result = ctl.run("probe", "--upstreams")
    assert result.stdout == "there is no server in /var/log/Varnok/dns\n"
    assert result.returncode == 1


def test_server_file_that_may_not_be_read():
    write_configuration(dns=b"127.0.0.2\n", hostmap=None)
    os.chmod(DNS_FILE, 0)
    try:
        result = ctl.run("probe", "--upstreams", wrapper=as_user())
    finally:
        DNS_FILE.unlink()
    assert result.stderr == "dns_proxy_ctl: /var/log/Varnok/dns: it can't be read: Permission denied.\n"
    assert result.stdout == ""
    assert result.returncode == 2


def test_probe_is_repeatable_while_the_proxy_serves():
    with ctl.serving(hostmap=HOST_MAP) as proxy:
        for _ in range(5):
            assert ctl.run("probe").returncode == 0
        wait_until(lambda: len(proxy.threads()) == 3, "both workers to be alive")
