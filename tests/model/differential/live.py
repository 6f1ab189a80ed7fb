"""The real program, for one life, in steps: its trace is read as it comes, without a thread."""

import os
import select
import subprocess
import time

from harness import Proxy

READ_BYTES = 1 << 20
QUIET_SECONDS = 0.1  # after a difference: what is printed by then belongs to it


class LiveProxy:
    """Kills the program at the end of the `with` block if it still runs."""

    def __init__(self, dns, hostmap, deadline):
        self._deadline = deadline
        self._read_end, write_end = os.pipe()
        os.set_blocking(self._read_end, False)
        try:
            self._proxy = Proxy(dns, hostmap, stdout=write_end)
        finally:
            os.close(write_end)
        self._poll = select.poll()
        self._poll.register(self._read_end, select.POLLIN)
        self._threads = None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._proxy.kill()
        os.close(self._read_end)

    def note_threads(self):
        """Remembers the threads of the running service, all of them alive."""
        self._threads = self._proxy.threads()

    def expect_query_thread_end(self):
        """AssertionError when it does not end."""
        self._proxy.expect_query_thread_end(self._threads)

    def expect_threads(self, takes_queries):
        """AssertionError when another set of threads is there."""
        expected = self._threads if takes_queries else self._threads[:-1]
        assert self._proxy.threads() == expected, "a thread has ended, or come, that should not have"

    def wait_until_asleep(self):
        """Every thread waits again. A trace is visible a moment before its thread does, and a query thread
        that is late finds its socket closed when the service ends, which it says in a line of its own."""
        self._proxy.wait_until_idle()

    def read_trace(self, expected):
        """What was printed: `expected`, or something else with what came in its place."""
        printed = b""
        while len(printed) < len(expected):
            piece = self._read_piece()
            printed += piece
            if not piece:
                break
            if not expected.startswith(printed):
                return printed + self._rest_for_the_reader(len(expected))
        return printed

    def _rest_for_the_reader(self, enough):
        rest = b""
        while len(rest) < enough and (piece := self._read_piece(QUIET_SECONDS)):
            rest += piece
        return rest

    def _read_piece(self, deadline=None):
        """Empty at the end of the output or past the deadline."""
        try:
            return os.read(self._read_end, READ_BYTES)
        except BlockingIOError:
            if not self._poll.poll((deadline or self._deadline) * 1000):
                return b""
            return os.read(self._read_end, READ_BYTES)

    def read_to_end(self):
        """All that is still printed until the output ends."""
        printed, end = b"", time.monotonic() + self._deadline
        while piece := self._read_piece():
            printed += piece
            assert time.monotonic() < end, "the output does not end"
        return printed

    def exit_status(self):
        """Waits for the end. AssertionError when it does not come."""
        try:
            return self._proxy.process.wait(self._deadline)
        except subprocess.TimeoutExpired as expired:
            raise AssertionError("the process has not ended") from expired

    def kill(self):
        self._proxy.kill()

    def errors(self):
        return self._proxy.errors()
