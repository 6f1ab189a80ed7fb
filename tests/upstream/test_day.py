"""A day of a laptop, compressed: servers fall silent and come back, packets get lost, the network changes, the
process is stopped as by a machine that sleeps. Asked all the time through the proxy, once with dns_proxy_upstream
and once directly, as it was without it."""

import contextlib
import random
import select
import time

from dns_bytes import answer, answer_count
from fake_server import FakeServer
from program import Asker, Program, write_servers

from harness import Proxy, deadline_seconds, query, wait_until

FIRST_NETWORK, SECOND_NETWORK = ["127.0.9.1", "127.0.9.2"], ["127.0.9.3", "127.0.9.4"]
PATIENCE = 5  # seconds, as the C library's resolver
BETWEEN_QUERIES = 0.02


def address_of(number):
    return bytes([10, number >> 16 & 255, number >> 8 & 255, number & 255])


def by_name(received, _transport="udp"):
    number = int(received[14 : 13 + received[12]]) if received[12] else 1
    return [answer(received, [".".join(map(str, address_of(number)))])]


class Day:
    """Asks a new name every few milliseconds, and counts who got the right address in time."""

    def __init__(self, asker, patience):
        self.asker, self.patience, self.number = asker, patience, 0
        self.waiting, self.asked, self.answered, self.wrong = {}, 0, 0, 0

    def go_on(self, seconds, counts=True):
        """Asks for so long. Without `counts` no server could answer, and nothing is expected."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            self.number += 1
            self.waiting[self.number & 0xFFFF] = (self.number, time.monotonic(), counts)
            self.asked += counts
            self.asker.send(query(self.number & 0xFFFF, f"n{self.number}.example"))
            self.take(BETWEEN_QUERIES)

    def take(self, seconds):
        end = time.monotonic() + seconds
        while select.select([self.asker.socket], [], [], max(0.0, end - time.monotonic()))[0]:
            response = self.asker.socket.recv(65535)
            number, when, counts = self.waiting.pop(response[0] << 8 | response[1], (0, 0, False))
            if answer_count(response) == 0:
                continue
            self.wrong += response[-4:] != address_of(number)
            self.answered += counts and time.monotonic() - when < self.patience

    def rest(self):
        """Until everybody has had the time that a resolver gives."""
        end = time.monotonic() + self.patience
        while any(counts for _, _, counts in self.waiting.values()) and time.monotonic() < end:
            self.take(0.1)


def live(day, servers, change_network, program):
    """The day. `program` is None without dns_proxy_upstream."""
    chance = random.Random(3)
    day.go_on(1)
    servers[0].be_silent()  # the first server falls silent
    day.go_on(3)
    servers[0].respond = by_name  # and is back
    day.go_on(2)
    for server in servers:  # the wireless network is bad
        server.respond = lambda received, _: by_name(received) if chance.random() > 1 / 3 else []
    day.go_on(3)
    for server in servers:
        server.respond = by_name
    if program:
        program.pause(2.5)  # sleep
    day.go_on(1)
    day.take(1)
    for server in servers[:2]:  # somewhere else: the old servers are out of reach
        server.be_silent()
    change_network()
    day.go_on(4)
    for server in servers:  # no network at all
        server.be_silent()
    day.rest()
    day.go_on(2, counts=False)
    for server in servers[2:]:
        server.respond = by_name
    if program:
        wait_until(lambda: program.state()[0]["health"] == "alive", "the network's return")
    day.go_on(1)
    day.rest()


@contextlib.contextmanager
def network():
    with contextlib.ExitStack() as stack:
        yield [stack.enter_context(FakeServer(address, by_name)) for address in FIRST_NETWORK + SECOND_NETWORK]


def through(proxy):
    proxy.expect_started()
    asker = Asker()
    asker.socket.connect(("127.0.0.1", 53))
    return asker


def close(proxy):
    proxy.kill()
    proxy.trace.rest_until_end()


def test_with_it_everybody_is_answered_whom_some_server_could_answer(record_property):
    with network() as servers, Program(FIRST_NETWORK) as program:
        with Proxy(dns=b"127.0.53.1\n127.0.53.2\n127.0.53.3\n") as proxy, through(proxy) as asker:
            day = Day(asker, max(PATIENCE, deadline_seconds()))
            live(day, servers, lambda: write_servers(SECOND_NETWORK), program)
            close(proxy)
    record_property("answered of those that some server could answer", f"{day.answered} of {day.asked}")
    assert day.wrong == 0
    assert day.answered == day.asked


def test_without_it_many_are_not(record_property):
    """What the same day is for the proxy alone, so that the difference is known."""
    with network() as servers:
        with Proxy(dns="".join(f"{server}\n" for server in FIRST_NETWORK).encode()) as proxy, through(proxy) as asker:
            day = Day(asker, PATIENCE)
            live(day, servers, lambda: None, None)
            close(proxy)
    record_property("answered of those that some server could answer", f"{day.answered} of {day.asked}")
    assert day.wrong == 0
    assert day.answered < day.asked
