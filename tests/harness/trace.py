"""The program's standard output, line by line, as it becomes visible."""

import difflib
import os
import threading
import time

from .waiting import deadline_seconds

READ_BYTES = 1 << 16


class TraceMismatch(AssertionError):
    """The trace is not what the test says; the text shows the difference."""


def _bytes(line):
    return line if isinstance(line, bytes) else line.encode("latin-1")


def _shown(lines):
    return [line.decode("latin-1").encode("unicode_escape").decode() for line in lines]


class Trace:
    """Collects the output of one program run on a thread of its own, so that the program never waits.

    Lines are handed out once each, in order. Text is compared as bytes; a `str` stands for its
    Latin-1 bytes. A message that carries a line end within counts as several lines, as for any reader.
    """

    def __init__(self, descriptor):
        self._descriptor = descriptor
        self._lines = []
        self._taken = 0
        self._rest = b""
        self._ended = False
        self._changed = threading.Condition()
        self._thread = threading.Thread(target=self._collect, daemon=True)
        self._thread.start()

    def _collect(self):
        while True:
            piece = os.read(self._descriptor, READ_BYTES)
            with self._changed:
                if piece:
                    *whole, self._rest = (self._rest + piece).split(b"\n")
                    self._lines += whole
                else:
                    self._ended = True
                self._changed.notify_all()
            if not piece:
                os.close(self._descriptor)
                return

    def _wait(self, condition):
        return self._changed.wait_for(lambda: condition() or self._ended, deadline_seconds())

    def take(self, count):
        """The next `count` lines as bytes, fewer when the output ended or the deadline passed.

        The deadline starts again whenever a line arrives.
        """
        with self._changed:
            while True:
                before = len(self._lines)
                if before - self._taken >= count or self._ended:
                    break
                if not self._wait(lambda seen=before: len(self._lines) > seen):
                    break
            taken = self._lines[self._taken : self._taken + count]
            self._taken += len(taken)
            return taken

    def expect(self, expected):
        """The next lines are exactly these. TraceMismatch with a difference otherwise."""
        expected = b"\n".join(_bytes(line) for line in expected).split(b"\n") if expected else []
        actual = self.take(len(expected))
        if actual != expected:
            self._fail(expected, actual)

    def _fail(self, expected, actual):
        with self._changed:
            following = self._lines[self._taken : self._taken + 5]
            rest, ended = self._rest, self._ended
        difference = difflib.unified_diff(_shown(expected), _shown(actual), "expected", "printed", lineterm="")
        text = ["the trace differs:", *difference]
        text += ["lines that follow:", *_shown(following)] if following else []
        text += [f"unfinished line: {_shown([rest])[0]}"] if rest else []
        text += ["the output has ended"] if ended else []
        raise TraceMismatch("\n".join(text))

    def take_until(self, last):
        """All lines up to and including the first that equals `last`; TraceMismatch when it does not come
        within the deadline, however much else does."""
        last = _bytes(last)
        end = time.monotonic() + deadline_seconds()
        taken = []
        while not taken or taken[-1] != last:
            following = self.take(1)
            if not following or time.monotonic() > end:
                self._fail([last], taken[-20:])
            taken += following
        return taken

    def take_available(self):
        """The lines that are visible already and not yet taken, without waiting."""
        with self._changed:
            taken = self._lines[self._taken :]
            self._taken = len(self._lines)
            return taken

    def rest_until_end(self):
        """What is left when the program's output ends: the untaken lines and a last one without its end."""
        end = time.monotonic() + deadline_seconds()
        with self._changed:
            while not self._ended:
                if not self._changed.wait(max(0.0, end - time.monotonic())):
                    raise TraceMismatch("the output has not ended")
            rest = self._lines[self._taken :] + ([self._rest] if self._rest else [])
            self._taken = len(self._lines)
            return rest

    def expect_end(self):
        """The output ends here: no line more, and no piece of one."""
        rest = self.rest_until_end()
        if rest:
            self._fail([], rest)
