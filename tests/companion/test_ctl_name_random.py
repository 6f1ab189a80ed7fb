"""What people wrote, in files of all styles, is what the proxy then answers."""

import random

import pytest
from harness import Application, query

import ctl
import names_files as files

BROKEN = [b"::1 localhost", b"10.0.0.1", b"word", b"a=10.0.0.1", b"10.0.0.1 *.x", b"x.lan 10.0.0.1", b":10.0.0.1", b"x:y"]
NAMES = [f"host{number}.example" for number in range(40)] + ["mail", "b\u00fccher.example", "_dns.x", "a-b.lan"]
ASCII_FORM = {"b\u00fccher.example": "xn--bcher-kva.example"}
SEEDS = range(6)


class Writer:
    """Somebody who writes names down, in one style or the other, and knows what is meant."""

    def __init__(self, draw):
        self.draw = draw
        self.meant = []  # (name, address) in the order of the file

    def spelled(self, name):
        name = "".join(self.draw.choice((letter, letter.upper())) for letter in name)
        return (name + self.draw.choice(("", "", "."))).encode()

    def blanks(self):
        return self.draw.choice((b" ", b"\t", b"  ", b" \t "))

    def address(self):
        return f"10.{self.draw.randrange(256)}.{self.draw.randrange(256)}.{self.draw.randrange(256)}"

    def line(self):
        kind = self.draw.randrange(8)
        if kind == 0:
            return self.draw.choice((b"", b"   ", b"# 10.0.0.1 not.meant", b"\t# comment"))
        if kind == 1:
            return self.draw.choice(BROKEN)
        address = self.address()
        names = self.draw.sample(NAMES, self.draw.randint(1, 4) if kind < 5 else 1)
        self.meant += [(ASCII_FORM.get(name, name), address) for name in names]
        spelled = [self.spelled(name) for name in names]
        before = self.draw.choice((b"", b"", self.blanks()))
        behind = self.draw.choice((b"", b"", self.blanks() + b"# said so", self.blanks()))
        if kind < 5:
            return before + address.encode() + self.blanks() + self.blanks().join(spelled) + behind
        return before + spelled[0] + b":" + self.draw.choice((b"", b" ")) + address.encode() + behind

    def file(self):
        end = self.draw.choice((b"\n", b"\r\n", b"\r"))
        text = end.join(self.line() for _ in range(self.draw.randrange(60)))
        return self.draw.choice((b"", b"\xef\xbb\xbf")) + text + self.draw.choice((b"", end))


def meant_by(names, lists, never_listed):
    """Name to address: the first counts, and `never_listed` takes names off the lists alone."""
    meant = {}
    for name, address in names.meant:
        meant.setdefault(name, address)
    for one in lists:
        for name, address in one.meant:
            if name not in never_listed:
                meant.setdefault(name, address)
    return meant


@pytest.mark.parametrize("seed", SEEDS)
def test_the_proxy_answers_what_people_wrote(seed):
    draw = random.Random(seed)
    names, *lists = [Writer(draw) for _ in range(3)]
    never_listed = draw.sample(NAMES, 5)
    files.write(
        names=names.file(),
        lists={f"{place}": one.file() for place, one in enumerate(lists)},
        never_listed="\n".join(never_listed).encode(),
    )
    assert ctl.run("name", "apply").returncode == 0
    meant = meant_by(names, lists, {ASCII_FORM.get(name, name) for name in never_listed})
    pairs = "".join(f"{name}:{address}\n" for name, address in meant.items())
    assert files.HOST_MAP.read_bytes() == files.made_of(pairs.encode())
    with ctl.serving(dns=b"not asked\n", hostmap=files.HOST_MAP.read_bytes()), Application() as application:
        for name, address in meant.items():
            application.send(query(7, names.spelled(name).decode().rstrip(".")))
            assert application.receive()[-4:] == bytes(map(int, address.split(".")))
    files.start_empty()
