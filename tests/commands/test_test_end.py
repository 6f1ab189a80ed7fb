"""Ctrl-C at the terminal ends ./test as a whole."""

import os
import pathlib
import pty
import select
import signal

import pytest

from harness import deadline_seconds, wait_until

# What a step may start: a process in a session of its own, and a mount.
STUBBORN = """\
import pathlib, signal, subprocess, sys, time
signal.signal(signal.SIGINT, signal.SIG_IGN)
signal.signal(signal.SIGTERM, signal.SIG_IGN)
script = pathlib.Path(sys.argv[0]).resolve()
folder, name = script.parents[1] / "build", script.stem
(folder / f"{name}.mounted").mkdir()
subprocess.run(["mount", "-t", "tmpfs", "tmpfs", folder / f"{name}.mounted"], check=True)
sleeper = f"import pathlib, time; pathlib.Path({str(folder / f'{name}.started')!r}).touch(); time.sleep(4000.25)"
subprocess.Popen([sys.executable, "-c", sleeper], start_new_session=True)
time.sleep(4000.25)
"""
CTRL_C = b"\x03"


def processes_with(text):
    """The ids of the processes whose command lines contain the text."""
    found = []
    for folder in pathlib.Path("/proc").iterdir():
        try:
            if folder.name.isdigit() and text.encode() in (folder / "cmdline").read_bytes():
                found.append(int(folder.name))
        except (FileNotFoundError, ProcessLookupError):
            pass
    return found


class Typed:
    """./test at a terminal."""

    def __init__(self, checkout, *arguments):
        self._shown = b""
        self._pid, self._terminal = pty.fork()
        if self._pid == 0:
            os.chdir(checkout.top)
            signal.signal(signal.SIGINT, signal.SIG_DFL)  # a run in the background has it ignored
            os.execvpe("./test", ["./test", *arguments], checkout.environment())

    def type(self, keys):
        os.write(self._terminal, keys)

    def _goes_on(self):
        """More of what it shows; false when the other end is closed."""
        if not select.select([self._terminal], [], [], deadline_seconds())[0]:
            raise AssertionError(f"it shows no more than {self._shown!r}")
        try:
            self._shown += os.read(self._terminal, 4096)
        except OSError:
            return False
        return True

    def wait_until_shown(self, text):
        while text.encode() not in self._shown:
            assert self._goes_on(), self._shown

    def shown_until_end(self):
        """What it has shown to its end, and its exit status."""
        while self._goes_on():
            pass
        _, status = os.waitpid(self._pid, 0)
        return self._shown.decode(), os.waitstatus_to_exitcode(status)


@pytest.fixture
def stubborn(checkout):
    """A checkout whose steps `layers` and `messages` do not end by themselves, nor by a signal that can be ignored."""
    for name in ("layers", "messages"):
        (checkout.top / f"tests/{name}.py").write_text(STUBBORN)
    return checkout


@pytest.mark.parametrize(
    ("arguments", "running", "words"),
    [
        (["layers", "messages"], ["layers"], "layers was running"),
        (["--lanes=2", "layers", "messages"], ["layers", "messages"], "layers, messages were running"),
    ],
    ids=["one step", "two steps side by side"],
)
def test_ctrl_c_ends_the_run_with_one_line_and_leaves_no_process_and_no_mount(stubborn, arguments, running, words):
    run = Typed(stubborn, *arguments)
    for name in running:
        wait_until((stubborn.build / f"{name}.started").exists, f"the second process of {name}")
    run.wait_until_shown(f"running {', '.join(running)}")
    run.type(CTRL_C)
    shown, status = run.shown_until_end()

    assert status == 130
    assert shown.replace("^C", "").endswith(f"running {', '.join(running)}\rtest: ended by Ctrl-C while {words}\r\n")
    assert shown.count("\n") == 1
    assert processes_with("4000.25") == []
    assert processes_with(str(stubborn.top)) == []
    for name in running:
        assert not os.path.ismount(stubborn.build / f"{name}.mounted")
