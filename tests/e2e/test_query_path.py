"""Whole conversations with the methods [host map, server A, server B], every line and byte written out."""

from harness import Application, Proxy, Upstream, from_hex

FILES = {"dns": b"127.0.0.2\n127.0.0.3\n", "hostmap": b"mail.example:10.1.2.3\n"}
WWW = "03 77 77 77 07 65 78 61 6D 70 6C 65 00"

TAKEN_ON_AND_FORWARDED_TO_A = [
    "func: thread_query(line:282) ****QureyThread***: received dns request",
    "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 29 data from 127.0.0.1",
    "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :1",
    "func: RecvAndProcessPacketsFromLocalApps(line:432) received dns request............www.example",
    "func: RecvAndProcessPacketsFromLocalApps(line:464)FromAPP: the request domain is www.example, id:0",
    "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 0, bReasonIsTimeout:0",
    "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 0, DnsListSize:3",
    "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:1(0: dns, 1:hostmap)",
    "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 0, bReasonIsTimeout:0",
    "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 1, DnsListSize:3",
    "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:0(0: dns, 1:hostmap)",
]


def test_host_map_hit_is_answered_by_the_proxy_itself():
    with Proxy(**FILES) as proxy, Upstream("127.0.0.2") as server_a, Application() as app:
        proxy.expect_started()
        app.send(
            from_hex("AB CD 01 00 00 01 00 00 00 00 00 00 04 6D 61 69 6C 07 65 78 61 6D 70 6C 65 00 00 01 00 01")
        )
        proxy.expect_trace(
            [
                "func: thread_query(line:282) ****QureyThread***: received dns request",
                "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 30 data from 127.0.0.1",
                "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :1",
                "func: RecvAndProcessPacketsFromLocalApps(line:432) received dns request............mail.example",
                "func: RecvAndProcessPacketsFromLocalApps(line:464)FromAPP: the request domain is mail.example, id:0",
                "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 0, bReasonIsTimeout:0",
                "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 0, DnsListSize:3",
                "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:1(0: dns, 1:hostmap)",
                "func: TryNextDNSQueryMethod(line:669) find mail.example from hostmap, ip:10.1.2.3, req id:0",
            ]
        )
        assert app.receive() == from_hex(
            "AB CD 81 00 00 01 00 01 00 00 00 00 04 6D 61 69 6C 07 65 78 61 6D 70 6C 65 00 00 01 00 01"
            "C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03"
        )
        server_a.assert_nothing_received()


def test_answer_of_the_first_server_is_relayed():
    with Proxy(**FILES) as proxy, Upstream("127.0.0.2") as server_a, Application() as app:
        proxy.expect_started()
        app.send(from_hex(f"AB CD 01 00 00 01 00 00 00 00 00 00 {WWW} 00 01 00 01"))
        proxy.expect_trace(TAKEN_ON_AND_FORWARDED_TO_A)
        assert server_a.receive() == from_hex(f"00 00 01 00 00 01 00 00 00 00 00 00 {WWW} 00 01 00 01")
        server_a.send(
            from_hex(
                f"00 00 81 80 00 01 00 01 00 00 00 00 {WWW} 00 01 00 01"
                "C0 0C 00 01 00 01 00 00 00 3C 00 04 0A 09 08 07"
            )
        )
        proxy.expect_trace(
            [
                "func: thread_answer(line:239) AnswerThread: received dns response.",
                "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 45 data from 127.0.0.2",
                "func: RecvAndProcessPacketsFromDNSServer(line:367) domain www.example received answer 10.9.8.7 "
                "from 127.0.0.2, we have to delete id:0",
            ]
        )
        assert app.receive() == from_hex(
            f"AB CD 81 80 00 01 00 01 00 00 00 00 {WWW} 00 01 00 01 C0 0C 00 01 00 01 00 00 00 3C 00 04 0A 09 08 07"
        )


def test_second_server_is_asked_when_the_first_has_no_answer_and_own_answer_comes_last():
    no_such_name = f"00 00 81 83 00 01 00 00 00 00 00 00 {WWW} 00 01 00 01"
    with Proxy(**FILES) as proxy, Upstream("127.0.0.2") as server_a, Upstream("127.0.0.3") as server_b:
        with Application() as app:
            proxy.expect_started()
            app.send(from_hex(f"AB CD 01 00 00 01 00 00 00 00 00 00 {WWW} 00 01 00 01"))
            proxy.expect_trace(TAKEN_ON_AND_FORWARDED_TO_A)
            assert server_a.receive() == from_hex(f"00 00 01 00 00 01 00 00 00 00 00 00 {WWW} 00 01 00 01")
            server_a.send(from_hex(no_such_name))
            proxy.expect_trace(
                [
                    "func: thread_answer(line:239) AnswerThread: received dns response.",
                    "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 29 data from 127.0.0.2",
                    "func: RecvAndProcessPacketsFromDNSServer(line:372) rsp from: 127.0.0.2, id: 0, "
                    "for : www.example, no such name",
                    "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 0, bReasonIsTimeout:0",
                    "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 2, DnsListSize:3",
                    "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:0(0: dns, 1:hostmap)",
                ]
            )
            assert server_b.receive() == from_hex(f"00 00 01 00 00 01 00 00 00 00 00 00 {WWW} 00 01 00 01")
            app.assert_nothing_received()
            server_b.send(from_hex(no_such_name))
            proxy.expect_trace(
                [
                    "func: thread_answer(line:239) AnswerThread: received dns response.",
                    "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 29 data from 127.0.0.3",
                    "func: RecvAndProcessPacketsFromDNSServer(line:372) rsp from: 127.0.0.3, id: 0, "
                    "for : www.example, no such name",
                    "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 0, bReasonIsTimeout:0",
                    "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 3, DnsListSize:3",
                    "func: TryNextDNSQueryMethod(line:685) no more DNS methods, send no such name response",
                ]
            )
            assert app.receive() == from_hex(f"AB CD 80 03 00 01 00 00 00 00 00 00 {WWW} 00 01 00 01")
            server_a.send(from_hex(no_such_name))
            proxy.expect_trace(
                [
                    "func: thread_answer(line:239) AnswerThread: received dns response.",
                    "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 29 data from 127.0.0.2",
                    "func: RecvAndProcessPacketsFromDNSServer(line:338) rsp from: 127.0.0.2, id: 0, request not found",
                ]
            )
