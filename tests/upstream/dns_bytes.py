"""DNS messages of the tests, made and read by hand."""

import struct

TYPE_A, TYPE_TXT, TYPE_OPT = 1, 16, 41
SERVER_FAILURE = 2
HEADER_BYTES = 12
POINTER_TO_QUESTION = b"\xc0\x0c"


def question_end(message):
    at = HEADER_BYTES
    while message[at]:
        at += 1 + message[at]
    return at + 5


def record(kind, data, name=POINTER_TO_QUESTION):
    return name + struct.pack("!HHIH", kind, 1, 60, len(data)) + data


def answer(query, addresses, filler=0, flags=0x8180):
    """The response to `query` with these IPv4 addresses, and with a further record behind them so that
    it is `filler` bytes long altogether."""
    records = b"".join(record(TYPE_A, bytes(map(int, address.split(".")))) for address in addresses)
    head = query[:2] + struct.pack("!HHHHH", flags, 1, len(addresses), 0, 1 if filler else 0)
    message = head + query[HEADER_BYTES : question_end(query)] + records
    if not filler:
        return message
    room = filler - len(message) - len(record(TYPE_TXT, b""))
    text = b""
    while room > 0:
        piece = min(255, room - 1)
        text += bytes([piece]) + b"x" * piece
        room -= 1 + piece
    message += record(TYPE_TXT, text)
    assert len(message) == filler
    return message


def empty_answer(query, code, truncated=False):
    flags = 0x8180 | code | (0x0200 if truncated else 0)
    return query[:2] + struct.pack("!HHHHH", flags, 1, 0, 0, 0) + query[HEADER_BYTES : question_end(query)]


def code(message):
    return message[3] & 0x0F


def answer_count(message):
    return struct.unpack("!H", message[6:8])[0]


def with_udp_size(query, size):
    """The query with an EDNS record (RFC 6891) that announces room for so many bytes."""
    return query[:10] + b"\0\1" + query[12:] + b"\0" + struct.pack("!HHIH", TYPE_OPT, size, 0, 0)


def announced_size(query):
    """The room for a response over UDP that a query announces."""
    if query[11] == 0:
        return 512
    return struct.unpack("!H", query[question_end(query) + 3 : question_end(query) + 5])[0]
