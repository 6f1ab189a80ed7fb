"""What is asked, what the host map holds and how the upstream servers behave."""

import dataclasses

from . import places

HOST_NAMES = 100
UNIQUE_NAMES = 50000
HOST_ADDRESS = "10.1.2.3"
FIRST_SERVER = "127.0.0.2"
SECOND_SERVER = "127.0.0.3"


@dataclasses.dataclass(frozen=True)
class Scenario:
    """`question` makes the text of the n-th question. `manners` is what each server does, in the proxy's
    order. `hops` counts the servers that a query visits; `extra` is how many bytes longer an answer of
    the proxy's own is than its query."""

    name: str
    title: str
    question: callable
    questions: int
    manners: tuple = ()
    hops: int = 0
    extra: int = 0
    host_names: int = HOST_NAMES

    def servers(self):
        return [f"127.0.0.{2 + position}" for position in range(len(self.manners))]

    def query_file(self):
        """The questions as dnsperf reads them."""
        path = places.work_folder() / f"{self.name}.queries"
        path.write_text("".join(f"{self.question(n)}\n" for n in range(self.questions)))
        return path


def host_name(number):
    return f"n{number:07d}.bench.lan"


def _unique(number):
    return f"u{number:07d}.bench.example A"


HIT = Scenario("hit", "host-map hit", lambda n: f"{host_name(n)} A", HOST_NAMES, extra=16)
FORWARD = Scenario("forward", "forward to one server", _unique, UNIQUE_NAMES, ("answer",), 1)
SECOND = Scenario("second", "first server empty, second answers", _unique, UNIQUE_NAMES, ("empty", "answer"), 2)
NO_NAME = Scenario("no_name", "no such name", _unique, UNIQUE_NAMES, ("empty",), 1)
REVERSE = Scenario(
    "reverse", "reverse name", lambda n: f"{n % 250}.{n // 250}.2.10.in-addr.arpa PTR", HOST_NAMES, ("answer",)
)
DELAYED = Scenario("delayed", "forward, server takes 5 ms", _unique, UNIQUE_NAMES, ("delay:5",), 1)
REORDERED = Scenario(
    "reordered", "forward, server answers in groups of 16 backwards", _unique, UNIQUE_NAMES, ("reorder:16",), 1
)

MAIN = (HIT, FORWARD)
FURTHER = (SECOND, NO_NAME, REVERSE, DELAYED, REORDERED)
