"""Random question names and queries, from well-formed to hostile."""

import struct

NAME_BYTES = 1024
TYPES = (1, 28, 28, 15, 255, 0, 0x1C00, 65535)
OPTION_RECORD = bytes.fromhex("00 0029 1000 00000000 0000")
EDGE_SIZES = (8174, 8175, 8176, 8177, 8191, 8192, 8193, 9000, 65507)
LETTERS = b"abcdefghijklmnopqrstuvwxyz0123456789-"
REVERSE_NAMES = (
    b"4.3.2.1.in-addr.arpa",
    b"4.3.2.1.IN-ADDR.ARPA",
    b"1.In-Addr.Arpa",
    b"x.in-addr.arpa.example",
    b"x.in-addr.arpax",
    b"in-addr.arpa",
    b"a\0b.in-addr.arpa",
    b"9.in-addr.arpa\0",
)


def labels(name):
    """The labels' wire form, without the closing zero. An empty label would end the name, so it goes."""
    return b"".join(bytes([len(label)]) + label for label in name.split(b".") if label)


def random_case(rng, name):
    return bytes(byte ^ 0x20 if chr(byte).isalpha() and byte < 128 and rng.random() < 0.4 else byte for byte in name)


def plain_label(rng, low=1, high=12):
    return bytes(rng.choice(LETTERS) for _ in range(rng.randint(low, high)))


def plain_name(rng):
    return b".".join(plain_label(rng) for _ in range(rng.randint(1, 4)))


def odd_label(rng):
    """Text that a trace, a string search or a name table could stumble over."""
    kind = rng.randrange(6)
    if kind == 0:
        return rng.randbytes(rng.randint(1, 20))
    if kind == 1:
        return rng.choice((b"%s%n%d", b"a\0b", b"\n", b".", b"a.b", b"x.", b"\x80\xff", b"\0", b" "))
    if kind == 2:
        return plain_label(rng, 0x3E, 0x41)
    if kind == 3:
        return plain_label(rng, 0x40, 0x7F)
    if kind == 4:
        return rng.choice((b".in-addr.arpa", b"in-addr.arpa", b"x.in-addr.arpa"))
    return plain_label(rng)


def odd_name(rng):
    chosen = (odd_label(rng) for _ in range(rng.randint(1, 4)))
    return b"".join(bytes([len(label)]) + label for label in chosen)


def long_name(rng):
    """Labels that fill the name buffer to its last bytes, or just past it, counting a dot for each."""
    wanted = NAME_BYTES + rng.choice((-2, -1, 0, 1, 2, 40))
    wire, used = b"", 0
    while used < wanted:
        left = wanted - used
        size = left if left <= 0x7F and rng.random() < 0.8 else min(left, rng.choice((0x3F, 0x7F, 100)))
        wire += bytes([size]) + (b"." if rng.random() < 0.1 else b"n") * size
        used += size + 1
    return wire


def cut_name(rng):
    """A name that stops at a length byte of 0x80 or more: a pointer, or none at all."""
    return labels(plain_name(rng)) + bytes([rng.choice((0xC0, 0xC0, 0x80, 0xBF, 0xFF)), rng.randrange(256)])


def question(rng, known):
    """(wire form of a name with its end, whether the question goes on as usual). `known`: configured domains."""
    kind = rng.random()
    if known and kind < 0.34:
        return labels(random_case(rng, rng.choice(known))) + b"\0"
    if known and kind < 0.40:
        return labels(plain_label(rng) + b"." + rng.choice(known)) + b"\0"
    if kind < 0.66:
        return labels(plain_name(rng)) + b"\0"
    if kind < 0.76:
        return labels(rng.choice(REVERSE_NAMES)) + b"\0"
    if kind < 0.86:
        return odd_name(rng) + b"\0"
    if kind < 0.92:
        return long_name(rng) + b"\0"
    return cut_name(rng)


def another_question(rng):
    return labels(plain_name(rng)) + b"\0\0\1\0\1"


def after_name(rng):
    """Type and class, whole or cut, and what may follow them."""
    fields = struct.pack("!HH", rng.choice(TYPES), rng.choice((1, 1, 1, 3, 255)))
    kind = rng.random()
    if kind < 0.6:
        return fields
    if kind < 0.75:
        return fields + OPTION_RECORD
    if kind < 0.87:
        return fields[: rng.randrange(4)]
    if kind < 0.9:
        return fields + another_question(rng)
    return fields + rng.randbytes(rng.randint(1, 200))


def header(rng, question_count=1):
    counts = [question_count] + [rng.choice((0, 0, 0, 1, 0xFFFF)) for _ in range(3)]
    flags = rng.choice((0x0100, 0x0100, 0x0000, 0x8000, 0xFFFF, rng.randrange(0x10000)))
    return rng.randbytes(2) + struct.pack("!H4H", flags, *counts)


def resized(rng, datagram, size):
    """Grown with random bytes, or cut."""
    return datagram[:size] + rng.randbytes(max(0, size - len(datagram)))


def overrunning(rng, datagram):
    """Cut inside its question, so that a label or the fields run past the end; never empty of a name."""
    return datagram[: rng.randint(14, max(14, min(len(datagram), 60)))]


def query(rng, known):
    """A query that the intake should take on, in most cases."""
    datagram = header(rng) + question(rng, known) + after_name(rng)
    kind = rng.random()
    if kind < 0.06:
        return resized(rng, datagram, rng.choice(EDGE_SIZES))
    if kind < 0.13:
        return overrunning(rng, datagram)
    if kind < 0.18:
        changed = bytearray(datagram)
        for _ in range(rng.randint(1, 4)):
            changed[rng.randrange(13, len(changed)) if len(changed) > 13 else 0] = rng.randrange(256)
        return bytes(changed)
    return datagram


def refused_query(rng):
    """A datagram that ends the intake."""
    kind = rng.randrange(6)
    if kind == 0:
        return rng.randbytes(rng.choice((0, 11, rng.randrange(12))))
    if kind == 1:
        return header(rng, rng.choice((0, 0, 0, 2, 0x0100, 0x0100, 0xFFFF))) + another_question(rng)
    if kind == 5:
        count = rng.choice((2, 3, 12))
        return header(rng, count) + b"".join(another_question(rng) for _ in range(count))
    if kind == 2:
        return header(rng) + rng.choice((b"\0", b"\xc0\x0c", b"\x80", b"\x03\0ab\0", b"")) + after_name(rng)
    if kind == 3:
        return header(rng)
    return header(rng) + b"\x01"
