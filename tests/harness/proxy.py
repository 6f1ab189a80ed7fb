"""One run of the real program."""

import os
import pathlib
import signal
import socket
import subprocess
import tempfile

from . import processes
from .commands import CannotTest
from .namespace import CONFIGURATION_DIRECTORY
from .trace import Trace
from .waiting import deadline_seconds, wait_until

BINARY_VARIABLE = "DNS_PROXY_BINARY"
REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
SUPPRESSIONS = REPOSITORY / "tests" / "suppressions"
SANITIZER_OPTIONS = {  # for programs built with them; the environment may say otherwise
    "LSAN_OPTIONS": f"suppressions={SUPPRESSIONS / 'lsan.txt'}:print_suppressions=0",
    "TSAN_OPTIONS": f"suppressions={SUPPRESSIONS / 'tsan.txt'}:atexit_sleep_ms=50",
}
DNS_FILE = pathlib.Path(CONFIGURATION_DIRECTORY, "dns")
HOSTMAP_FILE = pathlib.Path(CONFIGURATION_DIRECTORY, "hostmap")

LOCAL_SOCKET = ("127.0.0.1", 53)
ENDING_DATAGRAM = bytes(11)
END_LINES = [
    "func: thread_answer(line:239) AnswerThread: received dns response.",
    "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 11 data from 127.0.0.1",
    "func: RecvAndProcessPacketsFromDNSServer(line:327) FromDNSServer: "
    "do_answer: answer too short: 11, from: 127.0.0.1",
    "func: thread_answer(line:245) RecvAndProcessPacketsFromDNSServer failed, exit.",
    "func: main(line:90) StartDnsSrv success",
]


class BinaryMissing(CannotTest):
    """There is no program to test; the text is one sentence."""


def binary_path():
    path = pathlib.Path(os.environ.get(BINARY_VARIABLE, REPOSITORY / "build" / "dns_proxy_mac"))
    if not path.is_file() or not os.access(path, os.X_OK):
        raise BinaryMissing(f"There is no program at {path}: build it, or name another in {BINARY_VARIABLE}.")
    return path.resolve()


def write_configuration(dns, hostmap):
    """The two files get exactly these bytes; None removes the file."""
    for path, content in ((DNS_FILE, dns), (HOSTMAP_FILE, hostmap)):
        if content is None:
            path.unlink(missing_ok=True)
        else:
            path.write_bytes(content)


class Proxy:
    """Starts the program with the two files' bytes; leaving the `with` block ends it and checks that it
    printed nothing that the test did not expect, nothing at all on standard error, and ended as it must.

    `stdout`: a descriptor for the program's standard output; without one it is a pipe, read by `trace`.
    `wrapper`: a command that ends in executing what follows it. `before_exec`: runs in the child.
    `keep_configuration`: leaves the two files alone.
    """

    def __init__(
        self, dns=None, hostmap=None, *, stdout=None, wrapper=(), before_exec=None, keep_configuration=False
    ):
        if not keep_configuration:
            write_configuration(dns, hostmap)
        self.dns, self.hostmap = dns, hostmap
        self.trace = None
        self._errors = tempfile.TemporaryFile()
        write_end = stdout
        if stdout is None:
            read_end, write_end = os.pipe()
            self.trace = Trace(read_end)
        command = [*wrapper, str(binary_path())]
        try:
            self.process = subprocess.Popen(
                command,
                stdin=subprocess.DEVNULL,
                stdout=write_end,
                stderr=self._errors,
                preexec_fn=before_exec,
                env=SANITIZER_OPTIONS | os.environ,
            )
        except OSError as error:
            raise CannotTest(f"{command[0]} cannot be started: {error.strerror}.") from None
        finally:
            if stdout is None:
                os.close(write_end)
        self.pid = self.process.pid

    def __enter__(self):
        return self

    def __exit__(self, failure, *_):
        try:
            if failure is None:
                self.finish()
        finally:
            self.kill()

    def expect_trace(self, lines):
        """The next trace lines are exactly these (whole lines, without their line ends)."""
        self.trace.expect(lines)

    def expect_started(self):
        """Takes the trace of a start with these files. For files of plain lines only: `address` in the one,
        `domain:address` in the other, each with its line end."""
        servers = (self.dns or b"").decode().splitlines()
        pairs = [line.split(":") for line in (self.hostmap or b"").decode().splitlines()]
        lines = [f"read dns: {server}" for server in servers]
        lines += [f"read hostmap: {domain}:{address}" for domain, address in pairs]
        lines += [f"dnsproxy: dns_size:{len(servers)}, hostmap_size:{len(pairs)}"]
        lines += ["func: StartDnsSrv(line:118) bind 127.0.0.1:53 success"]
        lines += [f"func: StartDnsSrv(line:124) Add host map: {domain} -> {address}" for domain, address in pairs]
        lines += [f"func: StartDnsSrv(line:136) Add KQ DNS to list: {server}" for server in servers]
        lines += ["func: StartDnsSrv(line:154) pthread_create g_thread_answer success"]
        lines += ["func: StartDnsSrv(line:161) pthread_create thread_query success"]
        self.expect_trace(lines)
        return self

    def wait_until_bound(self):
        """For a run whose trace is not read: from here on the system keeps queries for the program."""
        wait_until(lambda: LOCAL_SOCKET in processes.udp_sockets(self.pid), "the bound port")

    def threads(self):
        """The ids of the program's threads, in the order of their creation; the last ones are the answer
        thread and the query thread while both live."""
        return processes.threads(self.pid)

    def wait_until_idle(self):
        """Every thread sleeps, which behind the last expected line means: waits for a datagram.

        Before an end it decides what the query thread sees of it: nothing, as its wait goes on.
        """
        self._wait_until_all_are("S", "the threads' waits")

    def stop(self):
        """Stops the program until it gets SIGCONT."""
        self.process.send_signal(signal.SIGSTOP)
        self._wait_until_all_are("T", "the stop")

    def _wait_until_all_are(self, state, what):
        wait_until(lambda: all(found == state for found in processes.states(self.pid)), what)

    def expect_query_thread_end(self, before):
        """The newest of the threads `before` ends, and no other. Take `before` while both workers live."""
        wait_until(lambda: before[-1] not in self.threads(), "the end of the query thread")
        assert self.threads() == before[:-1]
        assert self.process.poll() is None

    def upstream_port(self):
        """The port of the socket toward the servers; None before its first query has gone out."""
        ports = [port for address, port in processes.udp_sockets(self.pid) if address == "0.0.0.0"]
        return ports[0] if ports else None

    def send_upstream(self, datagram, address="127.0.0.1"):
        """One datagram from `address` to the socket toward the servers, which must have its port already."""
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
            sender.bind((address, 0))
            sender.sendto(datagram, ("127.0.0.1", self.upstream_port()))

    def end_normally(self):
        """Ends the service the only way it knows, and takes the whole trace of that, to its last byte."""
        self.wait_until_idle()
        self.send_upstream(ENDING_DATAGRAM)
        self.expect_trace(END_LINES)
        self.expect_exit(0)

    def expect_exit(self, status):
        """The program ends by itself with this status and prints nothing more. Negative: by this signal."""
        assert self.process.wait(deadline_seconds()) == status, self.errors()
        if self.trace:
            self.trace.expect_end()
        assert self.errors() == "", self.errors()

    def finish(self):
        """Ends the program if it still runs: normally where that is possible, by a signal otherwise."""
        if self.process.returncode is None and self.trace and self.upstream_port():
            self.end_normally()
        elif self.process.returncode is None:
            self.kill()
            if self.trace:
                self.trace.expect_end()
            assert self.errors() == "", self.errors()

    def kill(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGKILL)
            self.process.wait()

    def errors(self):
        """What the program wrote to standard error: nothing, unless a sanitizer has found something."""
        # Without a move of the position, which the program shares.
        return os.pread(self._errors.fileno(), 1 << 24, 0).decode("latin-1")
