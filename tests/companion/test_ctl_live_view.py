"""`trace` on a terminal: the live view, drawn on a screen of tmux, and the progress bar."""

import os
import pty
import re
import select
import subprocess
import time

import pytest
from harness import deadline_seconds
from terminal import Terminal
from trace_lines import INTAKE_ENDED, START, accepted, forwarded, hit, relayed

import ctl

HOME = b"\x1b[H"


def live_view(folder, **options):
    return shell_of(f"cd {folder}; {ctl.ctl_path()} trace --follow trace", **options)


def shell_of(command, **options):
    """A terminal that stays, with the exit status below what the command has left on the screen."""
    return Terminal(["sh", "-c", f"trap : INT; {command}; echo status $?; exec cat"], **options)


def append(path, text):
    with open(path, "a", encoding="latin-1") as file:
        file.write(text)


SCREEN_AT_START = """\
trace  (Ctrl-C ends)

10 lines, 1 start; the proxy serves
intake: no end seen
relay:  no end seen

queries
  accepted                                                 0
  answered from the host map                               0
  answered by a server                                     0
  answered "no such name"                                  0
  still waiting for a server                               0

server                  asked       answers         empty       waiting
10.0.0.8                    0             0             0             0
10.0.0.9                    0             0             0             0
""".splitlines()

REPORT_AT_END = """\
30 lines, 1 start; the proxy takes no queries any more
intake: ended in line 30 by a datagram of 11 bytes from 127.0.0.1, shorter than a header
relay:  no end seen

queries
  accepted                                                 2
  answered from the host map                               1
  answered by a server                                     0
  answered "no such name"                                  0
  still waiting for a server                               1

server                  asked       answers         empty       waiting
10.0.0.8                    1             0             0             1
10.0.0.9                    0             0             0             0

dropped
  query shorter than a header                              1

busiest names
  a.lan                                                    1
  b.lan                                                    1

waiting
  b.lan for 10.0.0.8
""".splitlines()

NARROW_SCREEN = """\
trace  (Ctrl-C ends)

30 lines, 1 start; the proxy takes no qu
intake: ended in line 30 by a datagram o
relay:  no end seen

queries
  accepted                             2
  answered from the host map           1
  answered by a server                 0
  answered "no such name"              0
  still waiting for a server           1

server          asked answers empty wait
10.0.0.8            1     0     0     1
""".splitlines()

CHANGES = accepted("a.lan", 0) + hit("a.lan", 0) + accepted("b.lan", 1) + forwarded(1, 1) + INTAKE_ENDED


def test_screen_follows_the_trace(tmp_path):
    (tmp_path / "trace").write_text(START)
    with live_view(tmp_path, columns=90, rows=40) as terminal:
        terminal.expect_screen(SCREEN_AT_START)
        append(tmp_path / "trace", CHANGES)
        terminal.expect_screen(["trace  (Ctrl-C ends)", "", *REPORT_AT_END])


def test_screen_is_cut_to_the_size_of_the_terminal_and_follows_it(tmp_path):
    (tmp_path / "trace").write_text(START + CHANGES)
    with live_view(tmp_path, columns=40, rows=15) as terminal:
        terminal.expect_screen(NARROW_SCREEN)
        terminal.resize(90, 40)
        terminal.expect_screen(["trace  (Ctrl-C ends)", "", *REPORT_AT_END])


def test_report_stays_when_the_view_is_ended(tmp_path):
    (tmp_path / "trace").write_text(START + CHANGES)
    with live_view(tmp_path, columns=90, rows=40) as terminal:
        terminal.expect(lambda screen: screen[0] == "trace  (Ctrl-C ends)", "the live view")
        terminal.type("C-c")
        terminal.expect(lambda screen: screen[-1] == "status 0", "the end of the live view")
        terminal.expect(lambda screen: screen[-1 - len(REPORT_AT_END) : -1] == REPORT_AT_END, "the report")


def test_view_that_is_suspended_gives_the_terminal_back_and_goes_on(tmp_path):
    (tmp_path / "trace").write_text(START)
    with Terminal(["bash", "--norc", "--noprofile"], columns=90, rows=40, environment={"HOME": str(tmp_path)}) as terminal:
        terminal.type(f"cd {tmp_path}; PS1=ready; {ctl.ctl_path()} trace -f trace", "Enter")
        terminal.expect_screen(SCREEN_AT_START)
        terminal.type("C-z")
        terminal.expect(lambda screen: screen[-1] == "ready" and "Stopped" in "".join(screen), "the shell")
        assert SCREEN_AT_START[2] not in terminal.screen()
        append(tmp_path / "trace", CHANGES)
        terminal.type("fg", "Enter")
        terminal.expect_screen(["trace  (Ctrl-C ends)", "", *REPORT_AT_END])


@pytest.mark.parametrize("kind", ["dumb", ""])
def test_terminal_that_can_not_be_drawn_on_gets_lines(tmp_path, kind):
    (tmp_path / "trace").write_text(START)
    with shell_of(f"TERM={kind} {ctl.ctl_path()} trace -f {tmp_path}/trace") as terminal:
        terminal.expect_screen(["the proxy starts with 2 servers and 1 host map entry", "the proxy serves"])


def test_screen_of_a_pipe(tmp_path):
    os.mkfifo(tmp_path / "pipe")
    with shell_of(f"{ctl.ctl_path()} trace -f < {tmp_path}/pipe") as terminal, open(tmp_path / "pipe", "w", encoding="ascii") as writer:
        writer.write(START)
        writer.flush()
        terminal.expect_screen(["standard input  (Ctrl-C ends)", *SCREEN_AT_START[1:]])


def read_available(descriptor, seconds=0):
    """What is there, and what comes before a pause of so long."""
    output = b""
    while select.select([descriptor], [], [], seconds)[0]:
        output += os.read(descriptor, 65536)
    return output


def test_screen_is_drawn_five_times_a_second_at_most(tmp_path):
    path = tmp_path / "trace"
    path.write_text(START)
    master, slave = pty.openpty()
    process = ctl.start("trace", "--follow", path, stdout=slave)
    os.close(slave)
    os.read(master, 65536)  # the first screen, whenever the program is there
    output, number = b"", 0
    begin = time.monotonic()
    # Longer where the program is kept from drawing.
    end = begin + deadline_seconds()
    while time.monotonic() < begin + 2 or (output.count(HOME) < 2 and time.monotonic() < end):
        append(path, accepted("a.lan", number % 65536) + hit("a.lan", number % 65536))
        number += 1
        output += read_available(master, seconds=0.002)
    seconds = time.monotonic() - begin
    process.kill()
    process.wait()
    os.close(master)
    assert 2 <= output.count(HOME) <= seconds * 5 + 1


def with_terminal_for_errors(path):
    """Standard output, and what a terminal gets to see on standard error."""
    master, slave = pty.openpty()
    process = ctl.start("trace", path, stdout=subprocess.PIPE, stderr=slave)
    shown = b""
    # A terminal holds few drawings that nobody reads.
    while process.poll() is None:
        shown += read_available(master, seconds=0.1)
    shown += read_available(master)
    os.close(slave)
    os.close(master)
    assert process.returncode == 0
    return process.communicate()[0].decode(), shown


def large_trace(path):
    path.write_text(START + "".join(
        accepted("b.lan", number % 65536) + forwarded(number % 65536, 1) + relayed("b.lan", number % 65536)
        for number in range(40_000)
    ))
    assert path.stat().st_size > 32 << 20


def test_progress_bar_on_a_large_file(tmp_path):
    large_trace(tmp_path / "trace")
    report, shown = with_terminal_for_errors(tmp_path / "trace")
    assert report.startswith("440,010 lines, 1 start; the proxy serves\n")
    assert re.match(rb"\r\[#{0,30}\.{0,30}\] +\d+%  [\d,]+ lines\x1b\[K", shown)
    assert shown.endswith(b"\r\x1b[K")


def test_no_progress_bar_on_a_small_file(tmp_path):
    (tmp_path / "trace").write_text(START)
    assert with_terminal_for_errors(tmp_path / "trace")[1] == b""


def test_no_progress_bar_without_a_terminal(tmp_path):
    large_trace(tmp_path / "trace")
    assert ctl.run("trace", tmp_path / "trace").stderr == ""


def test_trace_is_not_awaited_from_the_keyboard():
    with shell_of(f"{ctl.ctl_path()} trace") as terminal:
        terminal.expect_screen(["dns_proxy_ctl: Name a file, or send the trace to standard input.", "status 64"])
