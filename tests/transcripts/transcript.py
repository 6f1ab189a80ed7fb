"""A transcript file, read into what is done and what must come of it.

One statement a line. A line that begins with a blank goes on with the bytes of the statement above.
`#` begins a comment, except in the text of a `file` or `expect trace` line. An address without a port has port 53.
Bytes are in hex; `6e*63` is the byte 6e 63 times.

All that follows a `send` or `reply` comes of it. Its trace lines are compared in their order, and so are the
datagrams to one receiver; between the trace and the datagrams, and on the program between receivers, there is none.

    file dns TEXT               a line of the server file; without any, the file is missing
    file hostmap TEXT           a line of the host map file
    port taken                  somebody else holds 127.0.0.1 port 53 from before the start
    send ADDRESS BYTES          an application's datagram to the proxy
    reply ADDRESS BYTES         a datagram to the proxy's upstream socket
    expect trace TEXT           the next line that the proxy prints
    expect upstream ADDRESS BYTES    a datagram that the proxy sends to a server
    expect answer ADDRESS BYTES      a datagram that the proxy sends to an application
    expect intake end           the query thread ends, the process goes on
    expect exit STATUS          the process ends by itself: the last statement
    expect no exit              the process still waits: the last statement, instead
"""

import re
from dataclasses import dataclass, field

from harness import CannotTest

SERVER_PORT = 53
PROXY = ("127.0.0.1", SERVER_PORT)
REPEATED_BYTE = re.compile(r"\b([0-9a-f]{2})\*([0-9]{1,5})\b")
FILE, PORT_TAKEN = "file", "port taken"
SEND, REPLY = "send", "reply"
UPSTREAM, ANSWER = "upstream", "answer"


class TranscriptError(CannotTest):
    """A transcript that cannot be played; the text is one sentence with file and line."""


@dataclass
class Datagram:
    """A datagram, where it is from (in an action) or goes to (in an expectation), and its line in the file."""

    kind: str
    address: tuple
    content: bytes
    line: int


@dataclass
class Exchange:
    """One action, None for the program's start, and all that comes of it. Trace lines are (text, line)."""

    action: Datagram = None
    trace: list = field(default_factory=list)
    datagrams: list = field(default_factory=list)
    intake_ends: bool = False

    @property
    def expected_trace(self):
        return b"".join(text + b"\n" for text, _ in self.trace)


@dataclass
class Transcript:
    """`exit_status`: None when the process does not end by itself."""

    name: str
    dns: bytes = None
    hostmap: bytes = None
    port_is_taken: bool = False
    exchanges: list = field(default_factory=lambda: [Exchange()])
    exit_status: int = None
    is_complete: bool = False


def _address(text):
    host, _, port = text.partition(":")
    numbers = host.split(".")
    if len(numbers) != 4 or not all(part.isdecimal() and int(part) < 256 for part in numbers):
        raise ValueError(f"'{text}' is no address")
    if port and not (port.isdecimal() and int(port) < 65536):
        raise ValueError(f"'{text}' has no port number")
    return host, int(port) if port else SERVER_PORT


def _bytes(text):
    repeated = REPEATED_BYTE.sub(lambda found: found[1] * int(found[2]), text)
    try:
        return bytes.fromhex(repeated)
    except ValueError:
        raise ValueError(f"'{text.strip()}' are no bytes in hex") from None


def statements(content):
    """(line number, statement) with the lines that go on joined and comments gone."""
    found = []
    for number, line in enumerate(content.split("\n"), 1):
        is_verbatim = line.startswith(("file ", "expect trace "))
        text = line if is_verbatim else line.split("#")[0].rstrip()
        if line.startswith((" ", "\t")) and found and text.strip():
            found[-1][1] += " " + text.strip()
        elif text.strip():
            found.append([number, text])
    return found


class _Reader:
    def __init__(self, name):
        self.transcript = Transcript(name)

    def take(self, number, statement):
        if self.transcript.is_complete:
            raise ValueError("a statement follows the end")
        if statement[0].isspace():
            raise ValueError("there is no statement above that this line could go on with")
        word, _, rest = statement.partition(" ")
        if word == FILE:
            self._file(rest)
        elif statement == PORT_TAKEN:
            self._refuse_after_start(f"'{PORT_TAKEN}'")
            self.transcript.port_is_taken = True
        elif word in (SEND, REPLY):
            self.transcript.exchanges.append(Exchange(self._datagram(word, rest, number)))
        elif word == "expect":
            self._expect(rest, number)
        else:
            raise ValueError(f"unknown statement '{word}'")

    def _refuse_after_start(self, what):
        if len(self.transcript.exchanges) > 1 or self.transcript.exchanges[0].trace:
            raise ValueError(f"{what} comes after the start")

    def _file(self, rest):
        which, _, text = rest.partition(" ")
        if which not in ("dns", "hostmap"):
            raise ValueError("'file' needs 'dns' or 'hostmap' and the line's text")
        self._refuse_after_start(f"a '{FILE}' line")
        before = getattr(self.transcript, which) or b""
        setattr(self.transcript, which, before + text.encode("latin-1") + b"\n")

    def _datagram(self, kind, rest, number):
        text, _, content = rest.partition(" ")
        address = _address(text)
        if address == PROXY:
            raise ValueError("127.0.0.1:53 is the proxy itself")
        return Datagram(kind, address, _bytes(content), number)

    def _expect(self, rest, number):
        kind, _, value = rest.partition(" ")
        exchange = self.transcript.exchanges[-1]
        if kind == "trace":
            exchange.trace.append((value.encode("latin-1"), number))
        elif kind in (UPSTREAM, ANSWER):
            exchange.datagrams.append(self._datagram(kind, value, number))
        elif rest == "intake end":
            exchange.intake_ends = True
        elif rest == "no exit":
            self.transcript.is_complete = True
        elif kind == "exit" and value.isdecimal():
            self.transcript.exit_status = int(value)
            self.transcript.is_complete = True
        else:
            raise ValueError(f"unknown statement 'expect {rest}'")


def parse(name, content):
    """The Transcript of a file's text. Raises TranscriptError."""
    reader, number = _Reader(name), 1
    try:
        for number, statement in statements(content):
            reader.take(number, statement)
        if not reader.transcript.is_complete:
            raise ValueError("the transcript does not end with 'expect exit' or 'expect no exit'")
    except ValueError as error:
        raise TranscriptError(f"{name}:{number}: {error}.") from None
    return reader.transcript


def read(path):
    """The Transcript of a file. Raises TranscriptError."""
    try:
        with open(path, encoding="latin-1") as file:
            return parse(str(path), file.read())
    except OSError as error:
        raise TranscriptError(f"{path}:1: the file cannot be read: {error.strerror}.") from None
