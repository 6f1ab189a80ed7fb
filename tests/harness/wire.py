"""Messages written as hex, for the bytes that a test is about, and short builders for the rest."""

import struct

TYPE_A = 1
CLASS_IN = 1


def from_hex(text):
    """Bytes of a hex text; blanks and line ends between the digits are for the reader."""
    return bytes.fromhex(text)


def name_hex(name):
    """The wire form of a dotted name as hex text, with the closing zero: "a.bc" -> "01 61 02 62 63 00"."""
    wire = b"".join(bytes([len(label)]) + label.encode("latin-1") for label in name.split("."))
    return (wire + b"\0").hex(" ")


def query(message_id, name, qtype=TYPE_A, flags=0x0100, counts=(1, 0, 0, 0), tail=b""):
    """A query of one question. `message_id` is two bytes, or a number in network order."""
    if isinstance(message_id, int):
        message_id = struct.pack("!H", message_id)
    question = from_hex(name_hex(name)) + struct.pack("!HH", qtype, CLASS_IN)
    return message_id + struct.pack("!H4H", flags, *counts) + question + tail


def raw_id(number):
    """The two bytes in which the proxy's own id `number` travels: the machine's byte order."""
    return struct.pack("=H", number & 0xFFFF)
