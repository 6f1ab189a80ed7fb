"""The question of a query: name, type and class."""

from dataclasses import dataclass

from . import trace_texts as texts

NAME_BYTES = 1024
RECEIVE_BYTES = 8192
HEADER_BYTES = 12


@dataclass(frozen=True)
class Question:
    """`name` ends before its first NUL and is empty when there is no name; type and class 0 when not there."""

    name: bytes
    qtype: int = 0
    qclass: int = 0


def _signed(byte):
    return byte - 256 if byte > 127 else byte


def decode_name(question, length, size, trace):
    """(the filled part of the name buffer, where the labels ended in the question).

    `question` is longer than `length`, the received part of it: label bytes past `length` are whatever
    stands there, zeros behind the datagram. Only the place of a length byte is held against `length`.
    """
    out = bytearray()
    at = 0
    while at < length and question[at] != 0:
        count = _signed(question[at])
        if count < 0:
            trace.say(texts.INVALID_LENGTH, count)
            break
        if len(out) + count > size:
            trace.say(texts.NAME_OVERFLOW, count)
            break
        out += question[at + 1 : at + 1 + count].ljust(count, b"\0")
        if len(out) >= size:
            trace.say(texts.DOT_OVERFLOW, count)
            break
        out += b"."
        at += count + 1
    if out.endswith(b"."):
        out[-1] = 0
    return bytes(out), at


def decode_question(question, length, trace, size=NAME_BYTES):
    name, at = decode_name(question, length, size, trace)
    fields = []
    at += 1
    for _ in ("type", "class"):
        is_there = at < length - 1
        fields.append(int.from_bytes(question[at : at + 2], "big") if is_there else 0)
        at += 2
    return Question(texts.printed(name), *fields)


def question_of(datagram, trace):
    """The first question of a received datagram of at least a header's length."""
    buffer = datagram.ljust(RECEIVE_BYTES, b"\0")
    return decode_question(buffer[HEADER_BYTES:], len(datagram) - HEADER_BYTES, trace)
