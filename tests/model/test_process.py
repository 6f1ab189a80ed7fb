"""The model's start and end of the process."""

from model.process import ModelProxy

CLIENT = ("127.0.0.1", 20001)


def test_nothing_configured_is_a_failure_with_status_zero():
    proxy = ModelProxy(None, b":1.2.3.4\n")
    assert proxy.start().trace == (
        b"read hostmap: :1.2.3.4\n"
        b"dnsproxy: dns_size:0, hostmap_size:0\n"
        b"func: main(line:79) StartDnsSrv failed\n"
    )
    assert proxy.exit_status == 0


def test_a_taken_port_is_a_failure_with_status_one():
    proxy = ModelProxy(b"127.0.0.2\n", None, port_is_taken=True)
    assert proxy.start().trace == (
        b"read dns: 127.0.0.2\n"
        b"dnsproxy: dns_size:1, hostmap_size:0\n"
        b"func: StartDnsSrv(line:115) bind 127.0.0.1:53 failed\n"
        b"func: main(line:86) StartDnsSrv failed\n"
    )
    assert proxy.exit_status == 1


def test_the_start_names_every_pair_and_then_every_server():
    proxy = ModelProxy(b"127.0.0.2\n\n", b"a.example:1.2.3.4:53\nlocalhost\n")
    assert proxy.start().trace == (
        b"read dns: 127.0.0.2\n"
        b"read dns: \n"
        b"read hostmap: a.example:1.2.3.4:53\n"
        b"read hostmap: localhost\n"
        b"dnsproxy: dns_size:2, hostmap_size:2\n"
        b"func: StartDnsSrv(line:118) bind 127.0.0.1:53 success\n"
        b"func: StartDnsSrv(line:124) Add host map: a.example -> 1.2.3.4:53\n"
        b"func: StartDnsSrv(line:124) Add host map: localhost -> localhost\n"
        b"func: StartDnsSrv(line:136) Add KQ DNS to list: 127.0.0.2\n"
        b"func: StartDnsSrv(line:136) Add KQ DNS to list: \n"
        b"func: StartDnsSrv(line:154) pthread_create g_thread_answer success\n"
        b"func: StartDnsSrv(line:161) pthread_create thread_query success\n"
    )
    assert proxy.is_running and proxy.takes_queries


def test_a_short_response_ends_the_service():
    proxy = ModelProxy(b"127.0.0.2\n", None)
    proxy.start()
    assert proxy.from_server(bytes(11), ("127.0.0.2", 53)).trace == (
        b"func: thread_answer(line:239) AnswerThread: received dns response.\n"
        b"func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 11 data from 127.0.0.2\n"
        b"func: RecvAndProcessPacketsFromDNSServer(line:327) FromDNSServer: "
        b"do_answer: answer too short: 11, from: 127.0.0.2\n"
        b"func: thread_answer(line:245) RecvAndProcessPacketsFromDNSServer failed, exit.\n"
        b"func: main(line:90) StartDnsSrv success\n"
    )
    assert proxy.exit_status == 0


def test_without_its_intake_the_service_goes_on():
    proxy = ModelProxy(b"127.0.0.2\n", None)
    proxy.start()
    proxy.from_application(b"", CLIENT)
    assert proxy.is_running and not proxy.takes_queries
    assert proxy.from_application(bytes(40), CLIENT).trace == b""
    assert proxy.from_server(bytes(12), CLIENT).trace.startswith(b"func: thread_answer(line:239)")
