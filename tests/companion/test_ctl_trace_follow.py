"""`trace --follow` where no terminal is: a line for each event, or a JSON object after every change."""

import contextlib
import json
import os
import select
import signal
import subprocess

import pytest
from harness import deadline_seconds
from trace_lines import (
    ENDED,
    INTAKE_ENDED,
    START,
    START_FAILED,
    accepted,
    exhausted,
    forwarded,
    hit,
    relayed,
    response,
    without_answer,
)

import ctl

STARTED = ["the proxy starts with 2 servers and 1 host map entry", "the proxy serves"]


class Follower:
    def __init__(self, *arguments, **options):
        self.process = ctl.start("trace", *arguments, "--follow", stdout=subprocess.PIPE, **options)
        self._rest = b""

    def lines(self, count):
        """The next lines that it prints; AssertionError when they do not come."""
        while self._rest.count(b"\n") < count:
            ready = select.select([self.process.stdout], [], [], deadline_seconds())[0]
            piece = os.read(self.process.stdout.fileno(), 65536) if ready else b""
            assert piece, f"no line more after {self._rest!r}"
            self._rest += piece
        *lines, self._rest = self._rest.split(b"\n", count)
        return [line.decode("latin-1") for line in lines]

    def end(self, number=signal.SIGINT):
        self.process.send_signal(number)
        rest = self._rest + self.process.stdout.read()
        return self.process.wait(deadline_seconds()), rest.decode("latin-1")


@contextlib.contextmanager
def following(*arguments, **options):
    follower = Follower(*arguments, **options)
    try:
        yield follower
    finally:
        follower.process.kill()
        follower.process.wait()
        follower.process.stdout.close()


def append(path, text):
    with open(path, "a", encoding="latin-1") as file:
        file.write(text)


def test_file_that_grows(tmp_path):
    path = tmp_path / "trace"
    path.write_text(START)
    with following(path) as follower:
        assert follower.lines(2) == STARTED
        append(path, accepted("a.lan", 0) + hit("a.lan", 0))
        assert follower.lines(1) == ["a.lan: 10.0.0.1 from the host map"]
        append(path, accepted("b.lan", 1) + forwarded(1, 1) + relayed("b.lan", 1)[:30])
        append(path, relayed("b.lan", 1)[30:])
        assert follower.lines(1) == ["b.lan: answered by 10.0.0.8"]
        assert follower.end() == (0, "")


@pytest.mark.parametrize(
    ("lines", "news"),
    [
        (accepted("c.lan", 0) + forwarded(0, 1) + without_answer("c.lan", 0), "c.lan: no answer from 10.0.0.8"),
        (accepted("c.lan", 0) + exhausted(0), "c.lan: no such name"),
        (
            accepted("c.lan", 0) + forwarded(0, 1) + "TryNextDNSQueryMethod: id: 0,sendto failed: 101\n",
            "c.lan: dropped, the system refused to send it (error 101)",
        ),
        (INTAKE_ENDED, "a datagram from 127.0.0.1 has ended the intake of queries"),
        ("func: thread_query(line:273) QureyThread: select failed. exit\n", "the intake of queries has ended"),
        (
            response("(line:338) rsp from: 10.0.0.8, id: 9, request not found"),
            "dropped a response from 10.0.0.8 to no waiting query",
        ),
        (
            accepted("c.lan", 0)
            + forwarded(0, 1)
            + response(
                "(line:352) id: 0, dns_index:1 current dns rsp from: 10.0.0.9, should from: 10.0.0.8, it seems error",
                "10.0.0.9",
            ),
            "c.lan: dropped a response from 10.0.0.9 instead of 10.0.0.8",
        ),
    ],
)
def test_each_event_is_a_line(lines, news):
    result = ctl.run("trace", "--follow", input=START + lines)
    assert result.stdout.splitlines() == [*STARTED, news]
    assert result.returncode == 0


@pytest.mark.parametrize(
    ("trace", "news"),
    [
        (
            START + ENDED,
            [
                *STARTED,
                "the relay of responses has ended, and the proxy ends with it",
                "the proxy has ended",
            ],
        ),
        (START_FAILED, [STARTED[0], "127.0.0.1:53 is taken, or may not be bound", "the proxy could not start"]),
        (
            START + accepted("a.lan", 0) + hit("a.lan", 0)
            + "func: TryNextDNSQueryMethod(line:673)DNS service: sendto for host map failed\n",
            [*STARTED, "a.lan: 10.0.0.1 from the host map", "an answer was not sent, the system refused"],
        ),
    ],
)
def test_several_events_are_several_lines(trace, news):
    assert ctl.run("trace", "--follow", input=trace).stdout.splitlines() == news


def test_pipe_is_followed_to_its_end():
    result = ctl.run("trace", "-f", "-", input=START + "foreign\n" + accepted("a.lan", 0) + hit("a.lan", 0))
    assert result.stdout.splitlines() == [
        *STARTED,
        "a.lan: 10.0.0.1 from the host map",
        "not understood: 1 line, the first is line 11",
    ]
    assert result.returncode == 0


def test_pipe_shows_its_lines_while_it_is_open():
    with following(stdin=subprocess.PIPE) as follower:
        follower.process.stdin.write(START.encode())
        follower.process.stdin.flush()
        assert follower.lines(2) == STARTED
        assert follower.end(signal.SIGTERM) == (0, "")
        follower.process.stdin.close()


def test_file_that_is_replaced(tmp_path):
    path = tmp_path / "trace"
    path.write_text(START)
    with following(path) as follower:
        assert follower.lines(2) == STARTED
        append(path, accepted("a.lan", 0) + hit("a.lan", 0) + "func: cut off")
        assert follower.lines(1) == ["a.lan: 10.0.0.1 from the host map"]
        (tmp_path / "new").write_text(accepted("b.lan", 1) + hit("b.lan", 1))
        os.replace(tmp_path / "new", path)
        assert follower.lines(1) == ["b.lan: 10.0.0.1 from the host map"]
        assert follower.end() == (0, "")


def test_file_that_is_cut_to_nothing(tmp_path):
    path = tmp_path / "trace"
    path.write_text(START + "foreign\n" * 200)
    with following(path) as follower:
        assert follower.lines(2) == STARTED
        with open(path, "r+b") as file:
            file.truncate(0)
            file.write((accepted("b.lan", 1) + hit("b.lan", 1)).encode())
        assert follower.lines(1) == ["b.lan: 10.0.0.1 from the host map"]


def test_json_after_every_change(tmp_path):
    path = tmp_path / "trace"
    path.write_text(START)
    with following(path, "--json") as follower:
        assert json.loads(follower.lines(1)[0])["lines"] == 10
        append(path, accepted("a.lan", 0) + hit("a.lan", 0))
        report = json.loads(follower.lines(1)[0])
        assert report["lines"] == 19
        assert report["queries"]["from_host_map"] == 1
        assert follower.end() == (0, "")


def test_file_that_can_not_be_followed(tmp_path):
    result = ctl.run("trace", "--follow", tmp_path / "none")
    assert result.stderr == f"dns_proxy_ctl: {tmp_path}/none can't be read: No such file or directory.\n"
    assert result.returncode == 2
