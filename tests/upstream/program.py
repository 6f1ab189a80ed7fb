"""One run of dns_proxy_upstream."""

import os
import pathlib
import re
import select
import signal
import socket
import subprocess
import tempfile
import time

from harness import BinaryMissing, deadline_seconds, query, wait_until

BINARY_VARIABLE = "DNS_PROXY_UPSTREAM_BINARY"
REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
SERVERS_FILE = pathlib.Path("/var/log/Varnok/servers")
STATE_FILE = pathlib.Path("/run/dns_proxy_upstream/state")
PLACES = ("127.0.53.1", "127.0.53.2", "127.0.53.3")
STATE_WORDS = (
    "listens address health since queries answered unanswered retries truncations median slow".split()
)


def binary_path():
    path = pathlib.Path(os.environ.get(BINARY_VARIABLE, REPOSITORY / "build" / "dns_proxy_upstream"))
    if not path.is_file() or not os.access(path, os.X_OK):
        raise BinaryMissing(f"There is no program at {path}: build it, or name another in {BINARY_VARIABLE}.")
    return path.resolve()


def write_servers(lines):
    """The file as an editor replaces it: whole. None removes it."""
    if lines is None:
        SERVERS_FILE.unlink(missing_ok=True)
        return
    text = lines if isinstance(lines, bytes) else "".join(f"{line}\n" for line in lines).encode()
    fresh = SERVERS_FILE.with_suffix(".new")
    fresh.write_bytes(text)
    fresh.rename(SERVERS_FILE)


class Program:
    """Leaving the `with` block ends it, and checks that it ended as told and that a sanitizer, where it was
    built with one, had nothing to say."""

    def __init__(self, servers, wait=True):
        write_servers(servers)
        STATE_FILE.unlink(missing_ok=True)
        self._errors = tempfile.TemporaryFile()
        self.process = subprocess.Popen([binary_path()], stdin=subprocess.DEVNULL, stderr=self._errors)
        self.pid = self.process.pid
        if wait:
            wait_until(lambda: STATE_FILE.exists() or self.process.poll() is not None, "the first state")
            assert self.process.poll() is None, self.said()

    def __enter__(self):
        return self

    def __exit__(self, failure, *_):
        self.process.send_signal(signal.SIGCONT)
        self.process.terminate()
        status = self.process.wait(4 * deadline_seconds())
        if failure is None:
            assert status == 0, self.said()
            assert not re.search("Sanitizer|runtime error", self.said()), self.said()
            assert not STATE_FILE.exists()

    def said(self):
        # Without a move of the position, which the program shares: it would write over what stands there.
        return os.pread(self._errors.fileno(), 1 << 24, 0).decode()

    def wait_until_said(self, text):
        wait_until(lambda: text in self.said(), f"{text!r} in what the program says")

    def state(self):
        """What it tells of the server behind each address, numbers as such."""
        rows = [line.split() for line in STATE_FILE.read_text(encoding="ascii").splitlines()]
        assert rows[-1] == ["end"]
        states = [dict(zip(STATE_WORDS, row[1:])) for row in rows if row[0] == "server"]
        return [{word: int(text) if text.isdigit() else text for word, text in one.items()} for one in states]

    def wait_for_state(self, place, **expected):
        def holds():
            state = self.state()[place]
            return all(state[word] == value for word, value in expected.items())

        wait_until(holds, f"{expected} of place {place}")

    def pause(self, seconds):
        """The process does not run for so long."""
        self.process.send_signal(signal.SIGSTOP)
        time.sleep(seconds)
        self.process.send_signal(signal.SIGCONT)

    def memory_kilobytes(self):
        status = pathlib.Path(f"/proc/{self.pid}/status").read_text(encoding="ascii")
        return int(re.search(r"VmRSS:\s+(\d+)", status).group(1))

    @staticmethod
    def is_sanitized():
        """A sanitizer's runtime keeps freed memory for a while."""
        return b"__asan_init" in binary_path().read_bytes() or b"__tsan_init" in binary_path().read_bytes()

    def processor_seconds(self):
        fields = pathlib.Path(f"/proc/{self.pid}/stat").read_text(encoding="ascii").rsplit(") ", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


class Asker:
    """A socket toward one of the listening addresses. It takes responses from that address only."""

    def __init__(self, place=0, address="127.0.0.1"):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 22)
        self.socket.bind((address, 0))
        self.socket.connect((PLACES[place], 53))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send(self, datagram):
        self.socket.send(datagram)

    def receive(self, seconds=None):
        if not select.select([self.socket], [], [], seconds or deadline_seconds())[0]:
            raise AssertionError("no response came in time")
        return self.socket.recv(65535)

    def ask(self, datagram=None, seconds=None):
        """The response, and after how many seconds it came."""
        begin = time.monotonic()
        self.send(datagram or query(0x1234, "www.example"))
        return self.receive(seconds), time.monotonic() - begin

    def assert_nothing_comes_before_an_answer(self):
        """Datagrams are taken in order, so whatever came of an earlier one would be here first."""
        response, _ = self.ask(query(0xBEEF, "barrier.example"))
        assert response[:2] == b"\xbe\xef"
