"""The line rules of the two files, as far as they show from outside."""

import lines
from harness import Application, Proxy, Upstream, query
from harness.proxy import DNS_FILE, HOSTMAP_FILE
from host_map_questions import expect_host_map_answer, expect_no_such_name

BOUND = "func: StartDnsSrv(line:118) bind 127.0.0.1:53 success"
THREADS_STARTED = [
    "func: StartDnsSrv(line:154) pthread_create g_thread_answer success",
    "func: StartDnsSrv(line:161) pthread_create thread_query success",
]


def test_crlf_line_ends_stay_in_the_entries():
    files = {"dns": b"127.0.0.2\r\n", "hostmap": b"a.example:10.0.0.1\r\n"}
    with Proxy(**files) as proxy, Upstream("127.0.0.2") as server, Application() as app:
        proxy.expect_trace(
            [
                "read dns: 127.0.0.2\r",
                "read hostmap: a.example:10.0.0.1\r",
                "dnsproxy: dns_size:1, hostmap_size:1",
                BOUND,
                "func: StartDnsSrv(line:124) Add host map: a.example -> 10.0.0.1\r",
                "func: StartDnsSrv(line:136) Add KQ DNS to list: 127.0.0.2\r",
                *THREADS_STARTED,
            ]
        )
        expect_host_map_answer(proxy, app, "a.example", 27, "10.0.0.1", "0A 00 00 01", methods=2)
        app.send(query(0x1234, "b.example"))
        proxy.expect_trace(lines.intake(27, "b.example", 1) + lines.host_map_tried(1, 2) + lines.forwarded(1, 1, 2))
        assert len(server.receive()) == 27


def test_entries_end_at_their_first_nul():
    files = {"dns": b"127.0.0.2\0.9\n", "hostmap": b"a.example:10.0.0.1\x009\nb\0.example:10.0.0.2\n"}
    with Proxy(**files) as proxy, Upstream("127.0.0.2") as server, Application() as app:
        proxy.expect_trace(
            [
                "read dns: 127.0.0.2",
                "read hostmap: a.example:10.0.0.1",
                "read hostmap: b",
                "dnsproxy: dns_size:1, hostmap_size:2",
                BOUND,
                "func: StartDnsSrv(line:124) Add host map: a.example -> 10.0.0.1",
                "func: StartDnsSrv(line:124) Add host map: b -> 10.0.0.2",
                "func: StartDnsSrv(line:136) Add KQ DNS to list: 127.0.0.2",
                *THREADS_STARTED,
            ]
        )
        expect_host_map_answer(proxy, app, "a.example", 27, "10.0.0.1", "0A 00 00 01", methods=2)
        expect_host_map_answer(proxy, app, "b", 19, "10.0.0.2", "0A 00 00 02", number=1, methods=2)
        app.send(query(0x1234, "c"))
        proxy.expect_trace(lines.intake(19, "c", 2) + lines.host_map_tried(2, 2) + lines.forwarded(2, 1, 2))
        assert len(server.receive()) == 19


def test_host_map_line_is_split_at_its_first_colon():
    with Proxy(hostmap=b"a.example:1.2.3.4:53\n") as proxy, Application() as app:
        proxy.expect_trace(
            [
                "read hostmap: a.example:1.2.3.4:53",
                "dnsproxy: dns_size:0, hostmap_size:1",
                BOUND,
                "func: StartDnsSrv(line:124) Add host map: a.example -> 1.2.3.4:53",
                *THREADS_STARTED,
            ]
        )
        expect_host_map_answer(proxy, app, "a.example", 27, "255.255.255.255", "FF FF FF FF")


def test_host_map_line_without_a_colon_maps_the_line_to_itself():
    with Proxy(hostmap=b"localhost\n") as proxy, Application() as app:
        proxy.expect_trace(
            [
                "read hostmap: localhost",
                "dnsproxy: dns_size:0, hostmap_size:1",
                BOUND,
                "func: StartDnsSrv(line:124) Add host map: localhost -> localhost",
                *THREADS_STARTED,
            ]
        )
        expect_host_map_answer(proxy, app, "localhost", 27, "255.255.255.255", "FF FF FF FF")


def test_colonless_host_map_line_with_an_address_answers_it_for_itself():
    with Proxy(hostmap=b"10.1.2.3\n") as proxy, Application() as app:
        proxy.expect_trace(
            [
                "read hostmap: 10.1.2.3",
                "dnsproxy: dns_size:0, hostmap_size:1",
                BOUND,
                "func: StartDnsSrv(line:124) Add host map: 10.1.2.3 -> 10.1.2.3",
                *THREADS_STARTED,
            ]
        )
        expect_host_map_answer(proxy, app, "10.1.2.3", 26, "10.1.2.3", "0A 01 02 03")


def test_empty_host_map_line_counts():
    with Proxy(hostmap=b"\n") as proxy, Application() as app:
        proxy.expect_trace(
            [
                "read hostmap: ",
                "dnsproxy: dns_size:0, hostmap_size:1",
                BOUND,
                "func: StartDnsSrv(line:124) Add host map:  -> ",
                *THREADS_STARTED,
            ]
        )
        expect_no_such_name(proxy, app, "a", 19)


def test_host_map_line_that_begins_with_a_colon_is_read_but_not_counted():
    with Proxy(hostmap=b":1.2.3.4\na.example:10.0.0.1\n::\n") as proxy:
        proxy.expect_trace(
            [
                "read hostmap: :1.2.3.4",
                "read hostmap: a.example:10.0.0.1",
                "read hostmap: ::",
                "dnsproxy: dns_size:0, hostmap_size:1",
                BOUND,
                "func: StartDnsSrv(line:124) Add host map: a.example -> 10.0.0.1",
                *THREADS_STARTED,
            ]
        )


def test_host_map_line_that_ends_in_its_colon_has_an_empty_address():
    with Proxy(hostmap=b"a.example:\n") as proxy, Application() as app:
        proxy.expect_trace(
            [
                "read hostmap: a.example:",
                "dnsproxy: dns_size:0, hostmap_size:1",
                BOUND,
                "func: StartDnsSrv(line:124) Add host map: a.example -> ",
                *THREADS_STARTED,
            ]
        )
        expect_host_map_answer(proxy, app, "a.example", 27, "255.255.255.255", "FF FF FF FF")


def test_last_lines_without_a_line_end_are_read():
    with Proxy(dns=b"127.0.0.2\n127.0.0.3", hostmap=b"a.example:10.0.0.1") as proxy:
        proxy.expect_trace(
            [
                "read dns: 127.0.0.2",
                "read dns: 127.0.0.3",
                "read hostmap: a.example:10.0.0.1",
                "dnsproxy: dns_size:2, hostmap_size:1",
                BOUND,
                "func: StartDnsSrv(line:124) Add host map: a.example -> 10.0.0.1",
                "func: StartDnsSrv(line:136) Add KQ DNS to list: 127.0.0.2",
                "func: StartDnsSrv(line:136) Add KQ DNS to list: 127.0.0.3",
                *THREADS_STARTED,
            ]
        )


def test_server_file_that_ends_in_two_line_ends_has_an_empty_entry():
    with Proxy(dns=b"127.0.0.2\n\n") as proxy:
        proxy.expect_trace(
            [
                "read dns: 127.0.0.2",
                "read dns: ",
                "dnsproxy: dns_size:2, hostmap_size:0",
                BOUND,
                "func: StartDnsSrv(line:136) Add KQ DNS to list: 127.0.0.2",
                "func: StartDnsSrv(line:136) Add KQ DNS to list: ",
                *THREADS_STARTED,
            ]
        )


def test_blanks_and_comment_signs_are_part_of_an_entry():
    with Proxy(dns=b"# servers\n", hostmap=b"\ta.example :10.0.0.1\n#b.example:10.0.0.2\n") as proxy:
        proxy.expect_trace(
            [
                "read dns: # servers",
                "read hostmap: \ta.example :10.0.0.1",
                "read hostmap: #b.example:10.0.0.2",
                "dnsproxy: dns_size:1, hostmap_size:2",
                BOUND,
                "func: StartDnsSrv(line:124) Add host map: \ta.example  -> 10.0.0.1",
                "func: StartDnsSrv(line:124) Add host map: #b.example -> 10.0.0.2",
                "func: StartDnsSrv(line:136) Add KQ DNS to list: # servers",
                *THREADS_STARTED,
            ]
        )


def test_a_line_longer_than_any_buffer_is_read_and_printed_whole():
    name = "x" * 200_000
    with Proxy(hostmap=f"{name}:10.0.0.1\n".encode()) as proxy:
        proxy.expect_trace(
            [
                f"read hostmap: {name}:10.0.0.1",
                "dnsproxy: dns_size:0, hostmap_size:1",
                BOUND,
                f"func: StartDnsSrv(line:124) Add host map: {name} -> 10.0.0.1",
                *THREADS_STARTED,
            ]
        )


def test_bytes_beyond_ascii_are_printed_as_they_are():
    with Proxy(hostmap=b"b\xfccher.example:10.0.0.1\n") as proxy, Application() as app:
        proxy.expect_trace(
            [
                b"read hostmap: b\xfccher.example:10.0.0.1",
                "dnsproxy: dns_size:0, hostmap_size:1",
                BOUND,
                b"func: StartDnsSrv(line:124) Add host map: b\xfccher.example -> 10.0.0.1",
                *THREADS_STARTED,
            ]
        )
        expect_host_map_answer(proxy, app, "b\xfccher.example", 32, "10.0.0.1", "0A 00 00 01")


def test_directories_in_the_place_of_the_files_read_as_empty():
    for path in (DNS_FILE, HOSTMAP_FILE):
        path.unlink(missing_ok=True)
        path.mkdir()
    try:
        with Proxy(keep_configuration=True) as proxy:
            proxy.expect_trace(["dnsproxy: dns_size:0, hostmap_size:0", "func: main(line:79) StartDnsSrv failed"])
            proxy.expect_exit(0)
    finally:
        for path in (DNS_FILE, HOSTMAP_FILE):
            path.rmdir()
