"""The memory of the real program over many queries: what is over takes none."""

import os
import subprocess

import pytest

from harness import Application, Proxy, Upstream, binary_path, query

FILES = {"dns": b"127.0.0.2\n", "hostmap": b"a:10.0.0.1\n"}
AT_ONCE = 50
WARM_UP = 2_000
QUERIES = 100_000
MOST_KILOBYTES = 1_000  # ten bytes lost a query; the smallest block of the heap takes 32
IS_SANITIZED = any(mark in binary_path().read_bytes() for mark in (b"__asan_init", b"__tsan_init"))


def resident_kilobytes(pid):
    return int(subprocess.run(["ps", "-o", "rss=", "-p", str(pid)], check=True, capture_output=True).stdout)


def ask(app, server, count):
    """As many queries: half of them answered from the host map, the others, in turn, by the server, by the
    proxy's own "no such name" behind it, and at once for a reverse name."""
    names = ["a", "b", "a", "c", "a", "1.in-addr.arpa"]
    batch = [query(number, names[number % len(names)]) for number in range(AT_ONCE)]
    forwarded = sum(number % len(names) in (1, 3) for number in range(AT_ONCE))
    for _ in range(0, count, AT_ONCE):
        for datagram in batch:
            app.send(datagram)
        for _ in range(forwarded):
            asked = server.receive()
            answers = 1 if asked[13:14] == b"b" else 0
            server.send(asked[:2] + bytes([0x81, 0x80, 0, 1, 0, answers]) + asked[8:])
        for _ in batch:
            app.receive()


@pytest.mark.skipif(IS_SANITIZED, reason="a sanitizer keeps what is freed")
def test_a_hundred_thousand_queries_leave_no_memory_behind():
    with open(os.devnull, "wb") as nowhere, Proxy(**FILES, stdout=nowhere) as proxy:
        with Upstream("127.0.0.2") as server, Application() as app:
            proxy.wait_until_bound()
            ask(app, server, WARM_UP)
            before = resident_kilobytes(proxy.pid)
            ask(app, server, QUERIES)
            assert resident_kilobytes(proxy.pid) - before < MOST_KILOBYTES
