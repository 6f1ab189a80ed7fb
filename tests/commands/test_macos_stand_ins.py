"""What the harness makes of macOS's tools, played by stand-ins, and which steps ./test has there."""

import os

import pytest

from harness import left_out_on_macos
from harness.processes import Macos

THREADS = """\
USER   PID   TT   %CPU STAT PRI     STIME     UTIME COMMAND
root   321   ??    0.0 S    31T   0:00.00   0:00.01 /build/dns_proxy_mac
       321         0.0 S    31T   0:00.00   0:00.00
       321         1.5 R    31T   0:00.00   0:00.00
"""
SOCKETS = """\
p321
f3
n127.0.0.1:53
f4
n*:54321
"""


@pytest.fixture
def tools(tmp_path, monkeypatch):
    for name, said in (("ps", THREADS), ("lsof", SOCKETS)):
        (tmp_path / name).write_text(f"#!/bin/sh\ncat <<'END'\n{said}END\n")
        (tmp_path / name).chmod(0o755)
    monkeypatch.setenv("PATH", f"{tmp_path}:{os.environ['PATH']}")


def test_threads_are_counted_and_their_states_read(tools):
    assert Macos.threads(321) == [0, 1, 2]
    assert Macos.states(321) == ["S", "S", "R"]


def test_sockets_are_read(tools):
    assert list(Macos.udp_sockets(321)) == [("127.0.0.1", 53), ("0.0.0.0", 54321)]


def means_of_linux():
    return open("/dev/full", "wb")


def test_reason_is_given_for_means_that_macos_lacks():
    assert left_out_on_macos.reason_against(means_of_linux) == "there is no device that is always full"
    assert left_out_on_macos.reason_against(test_sockets_are_read) is None


def test_every_step_is_run_or_left_out_with_a_reason_on_each_system(checkout):
    listed = {}
    for system in ("Linux", "Darwin"):
        lines = checkout.run("./test", "list", f"--system={system}").stdout.splitlines()
        left_out = dict(line.removeprefix("left out ").split(": ", 1) for line in lines if line.startswith("left out "))
        runs = {line for line in lines if not line.startswith("left out ")}
        assert not runs & set(left_out)
        assert all(left_out.values())
        listed[system] = runs | set(left_out), runs
    assert listed["Linux"][0] == listed["Darwin"][0]
    assert {"e2e", "unit", "transcripts", "stress-asan", "companion", "macos-archive"} <= listed["Darwin"][1]
    assert "macos-archive" not in listed["Linux"][1]
