"""What kinds of datagrams and files random lives are made of, for the test that none is missing."""

import struct

from .questions import OPTION_RECORD
from .scenario import Response

HEADER_BYTES = 12
QUERY_LENGTHS = (0, 11, 12, 8175, 8176, 8191, 8192, 8193, 65507)
RESPONSE_LENGTHS = (0, 11, 12, 8191, 8192, 8193, 65507)
QUESTION_COUNTS = (0, 2, 3, 0x0100)
ANSWER_COUNTS = (0, 1, 127, 128, 255, 256, 0x7FFF, 0x8000)

KINDS = (
    *(f"query of {length} bytes" for length in QUERY_LENGTHS),
    *(f"query with {count} questions counted" for count in QUESTION_COUNTS),
    "query whose name begins with a pointer",
    "query with a pointer in its name",
    "query with a first label of 64 to 127 bytes",
    "query with EDNS",
    "query with an upper-case letter",
    "query for a reverse name",
    "query for a reverse name in upper case",
    "query with a second question",
    *(f"response of {length} bytes" for length in RESPONSE_LENGTHS),
    *(f"response with {count} answers counted" for count in ANSWER_COUNTS),
    "response from another port than 53",
    "response that comes again",
    "list of 159 servers or more",
    "list of 256 servers or more",
    "server file that ends in an empty line",
    "server file without a last line end",
    "file with lines that end in CR LF",
    "missing server file",
    "missing host map file",
    "port that is taken",
)


def of_files(life):
    """The kinds of one life's files, and of its responses as a whole."""
    dns = life.dns or b""
    servers = dns.count(b"\n")
    seen = set()
    again = False
    for step in life.steps:
        if isinstance(step, Response):
            again |= step in seen
            seen.add(step)
    found = {
        "response that comes again": again,
        "list of 159 servers or more": servers >= 159,
        "list of 256 servers or more": servers >= 256,
        "server file that ends in an empty line": dns.endswith((b"\n\n", b"\n\r\n")),
        "server file without a last line end": bool(dns) and not dns.endswith(b"\n"),
        "file with lines that end in CR LF": b"\r\n" in dns,
        "missing server file": life.dns is None,
        "missing host map file": life.hostmap is None,
        "port that is taken": life.port_is_taken,
    }
    return [kind for kind, holds in found.items() if holds]


def of_datagram(step):
    """The kinds of one Query or Response; none of anything else."""
    if step is None:
        return []
    if isinstance(step, Response):
        return _of_response(step)
    return _of_query(step.datagram)


def _count(datagram, offset):
    return struct.unpack_from("!H", datagram, offset)[0] if len(datagram) >= HEADER_BYTES else None


def _of_response(response):
    datagram = response.datagram
    kinds = [f"response of {len(datagram)} bytes", f"response with {_count(datagram, 6)} answers counted"]
    return kinds + ["response from another port than 53"] * (response.source[1] != 53)


def _of_query(datagram):
    question = datagram[HEADER_BYTES:]
    name, length = _name(question)
    stop = question[length : length + 1]
    found = {
        f"query of {len(datagram)} bytes": True,
        f"query with {_count(datagram, 4)} questions counted": True,
        "query whose name begins with a pointer": question[:1] >= b"\xc0",
        "query with a pointer in its name": length > 0 and stop >= b"\xc0",
        "query with a first label of 64 to 127 bytes": b"\x40" <= question[:1] <= b"\x7f",
        "query with EDNS": question.endswith(OPTION_RECORD),
        "query with an upper-case letter": name != name.lower(),
        "query for a reverse name": b".in-addr.arpa" in name,
        "query for a reverse name in upper case": b".IN-ADDR.ARPA" in name,
        "query with a second question": stop == b"\0" and _second(question[length + 5 :]),
    }
    return [kind for kind, holds in found.items() if holds]


def _name(question):
    """(text, where its labels end) of the first question."""
    at, labels = 0, []
    while at < len(question) and 0 < question[at] < 0x80:
        labels.append(question[at + 1 : at + 1 + question[at]])
        at += 1 + question[at]
    return b".".join(labels), at


def _second(rest):
    """Whether a whole question is all that follows, or begins what follows."""
    text, length = _name(rest)
    return bool(text) and rest[length : length + 5] == b"\0\0\1\0\1"
