"""As much of a service manager as the service files rely on, for where the real one cannot be run.

It runs their command lines, as the user and with the capabilities that they name, and starts again
what has ended. Everything happens in the calling process's network and file tree.
"""

import contextlib
import os
import signal
import subprocess
import threading
import time

from harness.faults import ORDINARY_USER


def as_unit_says(unit):
    """A wrapper for a unit's commands: the unit's user stands for any that is not root."""
    assert unit.get("Service", "NoNewPrivileges") == "yes"
    ambient = unit.all("Service", "AmbientCapabilities")
    bounding = unit.get("Service", "CapabilityBoundingSet")
    user = str(ORDINARY_USER) if unit.all("Service", "User") else "0"
    return [
        "setpriv", "--reuid", user, "--regid", user, "--clear-groups", "--no-new-privs",
        "--inh-caps", _set(*ambient), "--ambient-caps", _set(*ambient), "--bounding-set", _set(bounding),
    ]  # fmt: skip


def _set(names=""):
    return ",".join(["-all", *(f"+{name.removeprefix('CAP_').lower()}" for name in names.split())])


def seconds(text):
    return float(text.removesuffix("ms")) / 1000 if text.endswith("ms") else float(text.removesuffix("s"))


class Service:
    """One command, kept alive for the time of the `with` block.

    `before`: commands that must succeed first. `bound`: commands that live as long as it does.
    `pause`: seconds from its end to its next start. `interval`: seconds from start to start at least.
    `end_statuses` tells how it has ended each time.
    """

    def __init__(self, command, *, before=(), bound=(), pause=0.0, interval=0.0, environment=None, output=None):
        self.command, self.before, self.bound = command, before, bound
        self.pause, self.interval = pause, interval
        self.environment, self.output = environment, output
        self.process = None
        self.end_statuses = []
        self._stopping = threading.Event()
        self._thread = threading.Thread(target=self._keep_alive)

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *_):
        self._stopping.set()
        self.end(signal.SIGKILL)
        self._thread.join()

    def end(self, signal_number=signal.SIGTERM):
        """Ends what runs now, with everything that it has started."""
        process = self.process
        if process and process.poll() is None:
            with contextlib.suppress(ProcessLookupError):  # it has ended meanwhile
                os.killpg(process.pid, signal_number)

    def _start(self, command):
        return subprocess.Popen(
            command, env=self.environment, stdin=subprocess.DEVNULL, stdout=self.output, stderr=self.output,
            start_new_session=True,
        )

    def _keep_alive(self):
        while not self._stopping.is_set():
            start = time.monotonic()
            if all(self._start(command).wait() == 0 for command in self.before):
                self._run_once()
            rest = max(self.pause, start + self.interval - time.monotonic())
            self._stopping.wait(max(0.0, rest))

    def _run_once(self):
        self.process = self._start(self.command)
        bound = [self._start(command) for command in self.bound]
        if self._stopping.is_set():
            self.end(signal.SIGKILL)
        self.end_statuses.append(self.process.wait())
        for process in bound:
            process.terminate()
            process.wait()
