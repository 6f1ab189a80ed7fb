"""dns_proxy_ctl beside the running program."""

import json
import os
import pathlib
import re
import subprocess

import pytest
from program import Asker, Program, write_servers

from harness.proxy import write_configuration

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
CTL = os.environ.get("DNS_PROXY_CTL", REPOSITORY / "build" / "dns_proxy_ctl")
THREE = b"127.0.53.1\n127.0.53.2\n127.0.53.3\n"


def ctl(*arguments):
    ended = subprocess.run([CTL, *arguments], capture_output=True, text=True, timeout=60, env={"TZ": "UTC"})
    return ended.returncode, ended.stdout, ended.stderr


@pytest.fixture
def one_silent(servers):
    """Two servers, the second silent; the first has answered one query."""
    with Program(["127.0.9.1", "127.0.9.2"]) as program:
        servers[1].be_silent()
        for place in (0, 1):
            with Asker(place) as asker:
                asker.ask()
        program.wait_for_state(0, answered=1)
        program.wait_for_state(1, health="silent")
        yield program


def test_upstream_shows_each_server(one_silent):
    status, shown, _ = ctl("upstream")
    shown = re.sub(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d", "DATE", re.sub(r"\d+\.\d\d ms", "N ms", shown))
    assert status == 1
    assert re.sub(r"\d+ retries", "N retries", shown) == (
        "127.0.53.1  127.0.9.1        alive since DATE\n"
        "            answers in N ms in the median, 95 of 100 within N ms\n"
        "            1 query, 0 without an answer; N retries, 0 truncations\n"
        "127.0.53.2  127.0.9.2        silent since DATE\n"
        "            1 query, 1 without an answer; N retries, 0 truncations\n"
        '127.0.53.3  -                no server: every query is answered "server failure" at once\n'
    )


def test_upstream_as_json(one_silent):
    status, shown, _ = ctl("upstream", "--json")
    report = json.loads(shown)
    assert status == 1 and report["process"] == one_silent.pid
    assert [(one["listens"], one["address"], one["health"], one["queries"]) for one in report["servers"]] == [
        ("127.0.53.1", "127.0.9.1", "alive", 1),
        ("127.0.53.2", "127.0.9.2", "silent", 1),
        ("127.0.53.3", None, "no server", 0),
    ]


def test_upstream_is_content_when_every_server_is_alive(program):
    assert ctl("upstream")[0] == 0


def test_upstream_without_the_program():
    assert ctl("upstream") == (1, "", "dns_proxy_ctl: dns_proxy_upstream does not run.\n")


def test_upstream_is_not_taken_in_by_a_file_left_behind(servers):
    with Program(["127.0.9.1"]) as program:
        program.wait_for_state(0, health="alive")
        text = pathlib.Path("/run/dns_proxy_upstream/state").read_text()
    left = pathlib.Path("/run/dns_proxy_upstream/state")
    left.write_text(text)
    assert ctl("upstream")[0] == 1
    left.unlink()


def test_status_names_the_servers(one_silent):
    write_configuration(THREE, None)
    assert "upstream      127.0.9.1 alive, 127.0.9.2 silent\n" in ctl("status")[1]


def test_probe_tells_who_stands_behind_each_address(one_silent):
    write_configuration(THREE, None)
    shown = re.sub(r"\d+\.\d\d ms", "N ms", ctl("probe", "--upstreams")[1])
    assert [line.split(", ", 1)[1] for line in shown.splitlines()] == [
        "for 127.0.9.1, alive",
        "for 127.0.9.2, silent",
        "no server behind it",
    ]


@pytest.mark.parametrize(
    "content, finding",
    [
        (["network"], None),
        (["192.0.2"], 'Line 1: "192.0.2" is neither an address nor "network" -> '
                      "dns_proxy_upstream keeps to the servers that it had"),
        (None, "it can't be read -> dns_proxy_upstream asks the servers of the network"),
    ],
    ids=["good", "bad", "missing"],
)
def test_check_reads_the_file_of_servers_too(content, finding):
    write_configuration(THREE, None)
    write_servers(content)
    status, shown, _ = ctl("check")
    assert status == 0
    warnings = [line for line in shown.splitlines() if "warning" in line and "/servers" in line]
    assert warnings == ([f"/var/log/Varnok/servers:0: warning: {finding}"] if finding else [])


def test_check_leaves_it_alone_when_the_proxy_asks_others():
    write_configuration(b"192.0.2.1\n", None)
    write_servers(["192.0.2"])
    assert "/servers" not in ctl("check")[1]
