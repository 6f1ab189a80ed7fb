"""What a client can do to the page, and what it can't."""

import contextlib
import json
import socket
import time

import pytest

from harness import deadline_seconds
from page import START, Page, filed

POLICY = (
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; base-uri 'none'; "
    "form-action 'none'; frame-ancestors 'none'; require-trusted-types-for 'script'; trusted-types 'none'"
)


@pytest.fixture
def page(folder):
    (folder / "trace").write_bytes(START + filed("a.example", 0))
    with Page(folder) as page:
        page.wait_for(host_map=1)
        yield page


def answer_to(page, *pieces):
    """All bytes of the answer to what is sent piece by piece."""
    with page.raw() as connection:
        for piece in pieces:
            connection.sendall(piece)
        answer = b""
        with contextlib.suppress(ConnectionResetError):
            while received := connection.recv(65536):
                answer += received
        return answer


def get(page, path="/api/now", host=None):
    return f"GET {path} HTTP/1.1\r\nHost: {host or f'127.0.0.1:{page.port}'}\r\n\r\n".encode()


@pytest.mark.parametrize("path", ["/", "/style.css", "/main.js", "/api/now", "/metrics", "/nothing"])
def test_every_answer_confines_what_a_browser_does_with_it(page, path):
    _, headers, _ = page.request(path)
    assert headers["Content-Security-Policy"] == POLICY
    assert headers["X-Content-Type-Options"] == "nosniff"
    assert headers["Cross-Origin-Resource-Policy"] == "same-origin"
    assert headers["Referrer-Policy"] == "no-referrer"
    assert headers["Cache-Control"] == "no-store"
    assert "Access-Control-Allow-Origin" not in headers


@pytest.mark.parametrize("host", ["rebound.example", "127.0.0.1", "localhost:1", "127.0.0.1.example:5380", "[::1]:5380"])
def test_another_host_name_gets_nothing(page, host):
    status, _, body = page.request("/api/now", host=host)
    assert (status, b"a.example" in body) == (421, False)


def test_the_name_localhost_is_the_page_too(page):
    assert page.request("/api/now", host=f"localhost:{page.port}")[0] == 200


@pytest.mark.parametrize(
    "headers",
    [
        {"Origin": "http://other.example"},
        {"Origin": "null"},
        {"Sec_Fetch_Site": "cross-site", "Sec_Fetch_Mode": "no-cors"},
        {"Sec_Fetch_Site": "same-site", "Sec_Fetch_Mode": "cors"},
        {"Sec_Fetch_Site": "cross-site", "Sec_Fetch_Mode": "navigate"},
    ],
)
def test_another_site_gets_nothing(page, headers):
    assert page.request("/api/queries.json", **headers)[0] == 403


def test_a_link_on_another_site_leads_to_the_page(page):
    assert page.request("/", Sec_Fetch_Site="cross-site", Sec_Fetch_Mode="navigate")[0] == 200


@pytest.mark.parametrize("method", ["POST", "PUT", "DELETE", "OPTIONS", "TRACE", "CONNECT"])
def test_nothing_can_be_changed(page, method):
    status, headers, _ = page.request("/api/now", method=method)
    assert (status, headers["Allow"]) == (405, "GET, HEAD")


def test_a_request_may_come_in_single_bytes(page):
    answer = answer_to(page, *(bytes([byte]) for byte in get(page)))
    assert answer.startswith(b"HTTP/1.1 200 OK\r\n")


def test_a_client_that_has_shut_its_side_down_gets_its_answer(page):
    with page.raw() as connection:
        connection.sendall(get(page))
        connection.shutdown(socket.SHUT_WR)
        assert connection.recv(15) == b"HTTP/1.1 200 OK"


@pytest.mark.parametrize(
    "request_bytes, status",
    [
        (b"GET / HTTP/1.1\r\n\r\n", 400),
        (b"GET / HTTP/2.0\r\nHost: x\r\n\r\n", 400),
        (b"GET http://127.0.0.1/ HTTP/1.1\r\nHost: x\r\n\r\n", 400),
        (b"GET / HTTP/1.1\r\nHost: x\r\nHost: x\r\n\r\n", 400),
        (b"GET / HTTP/1.1\r\nHost : x\r\n\r\n", 400),
        (b"GET / HTTP/1.1\r\nHost: x\r\n folded\r\n\r\n", 400),
        (b"GET / HTTP/1.1\r\nHost: x\r\nContent-Length: 3\r\n\r\n", 400),
        (b"GET / HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n", 400),
        (b"GET /%zz HTTP/1.1\r\nHost: x\r\n\r\n", 400),
        (b"GET / HTTP/1.1\r\nHost: x\r\n\r\nmore", 400),
        (b"\r\n\r\n", 400),
        (b"\x16\x03\x01\x02\x00\r\n\r\n", 400),
        (b"GET /" + b"a" * 5000 + b" HTTP/1.1\r\nHost: x\r\n\r\n", 431),
        (b"a" * 5000, 431),
    ],
)
def test_what_is_no_request_is_refused(page, request_bytes, status):
    assert answer_to(page, request_bytes).startswith(b"HTTP/1.1 %d " % status)


def test_head_has_no_body(page):
    status, headers, body = page.request("/", method="HEAD")
    assert (status, body) == (200, b"") and int(headers["Content-Length"]) > 1000


def test_a_thousand_idle_connections_do_not_keep_anybody_out(page):
    with contextlib.ExitStack() as stack:
        idle = [stack.enter_context(page.raw()) for _ in range(1000)]
        for connection in idle[::2]:
            with contextlib.suppress(OSError):
                connection.send(b"GET /")
        for _ in range(20):
            assert page.request("/api/now")[0] == 200
        assert memory_of(page) < 40 << 20


def memory_of(page):
    with open(f"/proc/{page.process.pid}/status", encoding="ascii") as status:
        return next(int(line.split()[1]) << 10 for line in status if line.startswith("VmRSS"))


def test_a_client_that_never_reads_is_left_behind(page):
    with page.raw() as deaf:
        deaf.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        deaf.sendall(get(page, "/api/events"))
        with open(page.trace, "ab") as trace:
            for number in range(1, 3000):
                trace.write(filed("b" * 200, number))
        page.wait_for(host_map=3000)
        assert page.request("/api/now")[0] == 200


def test_an_event_comes_within_a_second(page):
    with page.raw() as connection:
        connection.sendall(get(page, "/api/events"))
        stream = connection.makefile("rb")
        while stream.readline() != b"event: now\n":
            pass
        before = time.monotonic()
        with open(page.trace, "ab") as trace:
            trace.write(filed("live.example", 1))
        while b"live.example" not in stream.readline():
            pass
        assert time.monotonic() - before < max(1.0, deadline_seconds() / 5)


def test_more_event_streams_than_are_given_are_refused(page):
    with contextlib.ExitStack() as stack:
        streams = [stack.enter_context(page.raw()) for _ in range(20)]
        for connection in streams:
            connection.sendall(get(page, "/api/events"))
        statuses = [connection.recv(12) for connection in streams]
        assert statuses == [b"HTTP/1.1 200"] * 16 + [b"HTTP/1.1 503"] * 4


def test_a_stream_ends_with_its_client(page):
    for _ in range(40):
        with page.raw() as connection:
            connection.sendall(get(page, "/api/events"))
            assert connection.recv(12) == b"HTTP/1.1 200"


def test_the_metrics_are_openmetrics(page):
    _, headers, body = page.request("/metrics")
    assert headers["Content-Type"] == "application/openmetrics-text; version=1.0.0; charset=utf-8"
    lines = body.decode("ascii").split("\n")
    assert lines[-2:] == ["# EOF", ""]
    assert 'dns_proxy_queries_total{outcome="host_map"} 1' in lines
    assert "dns_proxy_serving 1" in lines


def test_the_port_is_on_loopback_only(page):
    table = open("/proc/net/tcp", encoding="ascii").read() + open("/proc/net/tcp6", encoding="ascii").read()
    listening = [line.split()[1] for line in table.splitlines() if line.split()[3] == "0A"]
    assert f"0100007F:{page.port:04X}" in listening
    assert not [one for one in listening if one.endswith(f":{page.port:04X}") and not one.startswith("0100007F")]


def test_exports_hold_every_query(page):
    with open(page.trace, "ab") as trace:
        trace.write(b"".join(filed(f"n{number}.example", number) for number in range(1, 1234)))
    page.wait_for(host_map=1234)
    rows = page.get("/api/queries.json")
    assert [row["name"] for row in rows] == [*(f"n{number}.example" for number in range(1233, 0, -1)), "a.example"]
    _, headers, body = page.request("/api/queries.csv?name=n12")
    lines = body.decode("ascii").split("\r\n")
    assert headers["Content-Disposition"] == 'attachment; filename="queries.csv"'
    assert lines[0] == "asked,name,outcome,server,microseconds"
    assert [line.split(",")[1] for line in lines[1:-1]] == [
        *(f'"n{number}.example"' for number in range(1233, 1199, -1)),
        *(f'"n{number}.example"' for number in range(129, 119, -1)),
        '"n12.example"',
    ]


def test_a_database_that_is_asked_while_nothing_is_there_gives_empty_lists(folder):
    with Page(folder) as page:
        assert page.get("/api/queries")["queries"] == []
        assert json.loads(page.request("/api/queries.json")[2]) == []
        assert page.get("/api/names") == {"names": []}
        assert page.get("/api/now")["trace"]["read"] in (True, False)
