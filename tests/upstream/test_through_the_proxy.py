"""Applications, the proxy, this program and servers: what people's programs get."""

import json
import re
import subprocess
import sys

import pytest
from dns_bytes import announced_size, answer, empty_answer

from harness import Proxy, deadline_seconds
from harness.namespace import replace_file

ADDRESSES = [f"10.1.0.{number}" for number in range(1, 21)]
LOOK_UP = """
import json, socket, sys
print(json.dumps([info[4][0] for info in socket.getaddrinfo(sys.argv[1], 80, socket.AF_INET, socket.SOCK_STREAM)]))
"""


@pytest.fixture
def proxy(program):
    with Proxy(dns=b"127.0.53.1\n127.0.53.2\n127.0.53.3\n") as running:
        running.expect_started()
        yield running
        running.trace.take_available()
        running.kill()
        running.trace.rest_until_end()
        assert running.errors() == ""


def answer_of(size):
    def respond(received, transport):
        if transport == "udp" and size > announced_size(received):
            return [empty_answer(received, 0, truncated=True)]
        return [answer(received, ADDRESSES, filler=size)]

    return respond


@pytest.mark.parametrize("size", [600, 1300, 4000, 8000])
def test_getaddrinfo_gets_every_address_however_long_the_response(servers, proxy, size, tmp_path):
    servers[0].respond = answer_of(size)
    resolver_file = tmp_path / "resolv.conf"
    resolver_file.write_text("nameserver 127.0.0.1\n")
    with replace_file("/etc/resolv.conf", resolver_file):
        command = [sys.executable, "-c", LOOK_UP, "large.example"]
        found = subprocess.run(command, capture_output=True, text=True, timeout=60, check=True)
    assert sorted(json.loads(found.stdout)) == sorted(ADDRESSES)


@pytest.mark.parametrize("size", [600, 1300, 4000, 8000])
@pytest.mark.parametrize("option", ["+noedns", "+edns=0"])
def test_dig_gets_the_whole_response(servers, proxy, size, option):
    servers[0].respond = answer_of(size)
    command = ["dig", "-r", "@127.0.0.1", "+tries=1", f"+time={int(deadline_seconds())}", option, "+ignore", "large.example"]
    shown = subprocess.run(command, capture_output=True, text=True, timeout=60, check=True).stdout
    assert re.search(r"status: NOERROR", shown) and f"MSG SIZE  rcvd: {size}" in shown
    assert "Truncated" not in shown and len(re.findall(r"\sA\s10\.1\.0\.", shown)) == len(ADDRESSES)
