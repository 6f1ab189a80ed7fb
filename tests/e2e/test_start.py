"""What a start prints, and the exit status of one that fails."""

import socket

import lines
from harness import Application, Proxy, Upstream, from_hex, query
from harness.faults import as_user
from harness.proxy import write_configuration

NOTHING_CONFIGURED = ["dnsproxy: dns_size:0, hostmap_size:0", "func: main(line:79) StartDnsSrv failed"]


def test_neither_file_exists():
    with Proxy(dns=None, hostmap=None) as proxy:
        proxy.expect_trace(NOTHING_CONFIGURED)
        proxy.expect_exit(0)


def test_both_files_are_empty():
    with Proxy(dns=b"", hostmap=b"") as proxy:
        proxy.expect_trace(NOTHING_CONFIGURED)
        proxy.expect_exit(0)


def test_skipped_host_map_lines_alone_do_not_start_the_service():
    with Proxy(hostmap=b":1.2.3.4\n") as proxy:
        proxy.expect_trace(["read hostmap: :1.2.3.4", *NOTHING_CONFIGURED])
        proxy.expect_exit(0)


def test_nothing_configured_does_not_touch_the_port():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as holder:
        holder.bind(("127.0.0.1", 53))
        with Proxy() as proxy:
            proxy.expect_trace(NOTHING_CONFIGURED)
            proxy.expect_exit(0)


def test_host_map_comes_first_then_the_servers_in_file_order():
    hostmap = b"a.example:10.0.0.1\nb.example:10.0.0.2\nc.example:10.0.0.3\n"
    with Proxy(dns=b"127.0.0.2\n127.0.0.3\n", hostmap=hostmap) as proxy, Application() as app:
        proxy.expect_trace(
            [
                "read dns: 127.0.0.2",
                "read dns: 127.0.0.3",
                "read hostmap: a.example:10.0.0.1",
                "read hostmap: b.example:10.0.0.2",
                "read hostmap: c.example:10.0.0.3",
                "dnsproxy: dns_size:2, hostmap_size:3",
                "func: StartDnsSrv(line:118) bind 127.0.0.1:53 success",
                "func: StartDnsSrv(line:124) Add host map: a.example -> 10.0.0.1",
                "func: StartDnsSrv(line:124) Add host map: b.example -> 10.0.0.2",
                "func: StartDnsSrv(line:124) Add host map: c.example -> 10.0.0.3",
                "func: StartDnsSrv(line:136) Add KQ DNS to list: 127.0.0.2",
                "func: StartDnsSrv(line:136) Add KQ DNS to list: 127.0.0.3",
                "func: StartDnsSrv(line:154) pthread_create g_thread_answer success",
                "func: StartDnsSrv(line:161) pthread_create thread_query success",
            ]
        )
        app.send(query(1, "c.example"))
        proxy.expect_trace(lines.intake(27, "c.example", 0) + lines.host_map_hit(0, 3, "c.example", "10.0.0.3"))


def test_host_map_alone_starts_the_service_without_a_server_method():
    with Proxy(hostmap=b"a.example:10.0.0.1\n") as proxy, Application() as app:
        proxy.expect_trace(
            [
                "read hostmap: a.example:10.0.0.1",
                "dnsproxy: dns_size:0, hostmap_size:1",
                "func: StartDnsSrv(line:118) bind 127.0.0.1:53 success",
                "func: StartDnsSrv(line:124) Add host map: a.example -> 10.0.0.1",
                "func: StartDnsSrv(line:154) pthread_create g_thread_answer success",
                "func: StartDnsSrv(line:161) pthread_create thread_query success",
            ]
        )
        app.send(from_hex("12 34 01 00 00 01 00 00 00 00 00 00 01 62 00 00 01 00 01"))
        proxy.expect_trace(lines.intake(19, "b", 0) + lines.host_map_tried(0, 1) + lines.exhausted(0, 1, 1))
        assert app.receive() == from_hex("12 34 80 03 00 01 00 00 00 00 00 00 01 62 00 00 01 00 01")


def test_servers_alone_start_the_service_without_a_host_map_method():
    with Proxy(dns=b"127.0.0.2\n") as proxy, Upstream("127.0.0.2") as server, Application() as app:
        proxy.expect_trace(
            [
                "read dns: 127.0.0.2",
                "dnsproxy: dns_size:1, hostmap_size:0",
                "func: StartDnsSrv(line:118) bind 127.0.0.1:53 success",
                "func: StartDnsSrv(line:136) Add KQ DNS to list: 127.0.0.2",
                "func: StartDnsSrv(line:154) pthread_create g_thread_answer success",
                "func: StartDnsSrv(line:161) pthread_create thread_query success",
            ]
        )
        app.send(from_hex("12 34 01 00 00 01 00 00 00 00 00 00 01 62 00 00 01 00 01"))
        proxy.expect_trace(lines.intake(19, "b", 0) + lines.forwarded(0, 0, 1))
        assert server.receive() == from_hex("00 00 01 00 00 01 00 00 00 00 00 00 01 62 00 00 01 00 01")


def test_arguments_and_environment_are_not_looked_at():
    start = 'DNS=192.0.2.1 HOSTMAP=/nowhere PORT=5353 exec "$0" --help --port 5353 /nowhere'
    with Proxy(dns=b"127.0.0.2\n", wrapper=["sh", "-c", start]) as proxy:
        proxy.expect_started()


def test_port_taken_by_another_process_is_status_1():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as holder:
        holder.bind(("127.0.0.1", 53))
        with Proxy(dns=b"127.0.0.2\n", hostmap=b"a.example:10.0.0.1\n") as proxy:
            proxy.expect_trace(
                [
                    "read dns: 127.0.0.2",
                    "read hostmap: a.example:10.0.0.1",
                    "dnsproxy: dns_size:1, hostmap_size:1",
                    "func: StartDnsSrv(line:115) bind 127.0.0.1:53 failed",
                    "func: main(line:86) StartDnsSrv failed",
                ]
            )
            proxy.expect_exit(1)


def test_port_taken_on_all_addresses_is_status_1():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as holder:
        holder.bind(("0.0.0.0", 53))
        with Proxy(dns=b"127.0.0.2\n") as proxy:
            proxy.expect_trace(
                [
                    "read dns: 127.0.0.2",
                    "dnsproxy: dns_size:1, hostmap_size:0",
                    "func: StartDnsSrv(line:115) bind 127.0.0.1:53 failed",
                    "func: main(line:86) StartDnsSrv failed",
                ]
            )
            proxy.expect_exit(1)


def test_a_user_without_the_privilege_to_bind_gets_status_1():
    with Proxy(dns=b"127.0.0.2\n", wrapper=as_user()) as proxy:
        proxy.expect_trace(
            [
                "read dns: 127.0.0.2",
                "dnsproxy: dns_size:1, hostmap_size:0",
                "func: StartDnsSrv(line:115) bind 127.0.0.1:53 failed",
                "func: main(line:86) StartDnsSrv failed",
            ]
        )
        proxy.expect_exit(1)


def test_files_changed_after_the_start_are_not_read_again():
    with Proxy(hostmap=b"a.example:10.0.0.1\n") as proxy, Application() as app:
        proxy.expect_started()
        write_configuration(dns=b"127.0.0.2\n", hostmap=b"a.example:10.9.9.9\n")
        app.send(query(1, "a.example"))
        proxy.expect_trace(lines.intake(27, "a.example", 0) + lines.host_map_hit(0, 1, "a.example", "10.0.0.1"))
        assert app.receive()[-4:] == from_hex("0A 00 00 01")


def test_only_the_loopback_address_is_served():
    with Proxy(hostmap=b"a.example:10.0.0.1\n") as proxy:
        proxy.expect_started()
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as other:
            other.bind(("127.0.0.2", 53))
