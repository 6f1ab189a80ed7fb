"""Malformed datagrams on both sockets of the proxy, at a steady pace, while applications ask good queries."""

import contextlib
import itertools
import multiprocessing
import pathlib
import random
import select
import socket
import time

from harness import deadline_seconds, query
from harness.peers import PROXY_ADDRESS

SECONDS_A_BURST = 0.01
MOST_IN_FLIGHT = 50

ENDS_INTAKE = [
    b"",
    bytes(11),
    query(1, "a.example", counts=(0, 0, 0, 0)),
    query(1, "a.example", counts=(2, 0, 0, 0)),
    query(1, "a.example")[:12],
    query(1, "a.example")[:13],
    query(1, "a.example")[:12] + bytes(5),
    query(1, "a.example")[:12] + b"\xc0\x0c\x00\x01\x00\x01",
]
ENDS_RELAY = [b"", b"\0", bytes(11)]


def _bursts(rate, seconds):
    """Yields how many are due now, until the time is over."""
    start, sent = time.monotonic(), 0
    while (passed := time.monotonic() - start) < seconds:
        due = int(rate * passed) - sent
        yield due
        sent += due
        time.sleep(SECONDS_A_BURST)


def _attack(sender, target, datagrams, rate, seconds, count):
    """Sends from this address to that, in a process of its own; tells how many."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as attacker:
        attacker.bind((sender, 0))
        chosen = itertools.cycle(random.choices(datagrams, k=997))
        for burst in _bursts(rate, seconds):
            for _ in range(burst):
                attacker.sendto(next(chosen), target)
            count.value += burst


def upstream_port():
    """The port of the one unconnected socket of this network that is open on all addresses: the proxy's."""
    rows = [line.split() for line in pathlib.Path("/proc/self/net/udp").read_text(encoding="ascii").splitlines()[1:]]
    [port] = [int(row[1].split(":")[1], 16) for row in rows if row[1].startswith("00000000:")]
    return port


@contextlib.contextmanager
def attacks(rate, seconds, server):
    """So many a second on each socket, those toward servers from a server's address. Yields how many were sent."""
    counts = [multiprocessing.Value("q", 0), multiprocessing.Value("q", 0)]
    places = [("127.0.0.1", PROXY_ADDRESS, ENDS_INTAKE), (server, ("127.0.0.1", upstream_port()), ENDS_RELAY)]
    processes = [
        multiprocessing.Process(target=_attack, args=(*place, rate, seconds, count))
        for place, count in zip(places, counts)
    ]
    for process in processes:
        process.start()
    try:
        yield counts
    finally:
        for process in processes:
            process.join()
            assert process.exitcode == 0


def _serve(address, is_bound):
    record = bytes.fromhex("c00c 0001 0001 00000e10 0004 0a000002")
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as server:
        server.bind((address, 53))
        is_bound.set()
        while True:
            asked, sender = server.recvfrom(65535)
            server.sendto(asked[:2] + bytes.fromhex("8180 0001 0001 0000 0000") + asked[12:] + record, sender)


@contextlib.contextmanager
def server(address):
    """A server that has an answer for every name, in a process of its own."""
    is_bound = multiprocessing.Event()
    process = multiprocessing.Process(target=_serve, args=(address, is_bound))
    process.start()
    assert is_bound.wait(deadline_seconds())
    try:
        yield
    finally:
        process.kill()
        process.join()


class Asked:
    def __init__(self):
        self.queries = self.answered = 0
        self.slowest = 0.0


def ask(names, rate, seconds):
    """Asks so many queries a second, these names in turn, and waits for the answer to each. Never more are
    under way than the sockets' buffers surely hold."""
    told, waiting, turn = Asked(), {}, itertools.cycle(names)
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as application:
        application.connect(PROXY_ADDRESS)

        def take(timeout):
            while select.select([application], [], [], timeout)[0]:
                answer = application.recv(65535)
                told.slowest = max(told.slowest, time.monotonic() - waiting.pop(answer[:2]))
                told.answered += 1
                timeout = 0

        for burst in _bursts(rate, seconds):
            for _ in range(burst):
                if len(waiting) >= MOST_IN_FLIGHT:
                    take(deadline_seconds())
                question = query(told.queries & 0xFFFF, next(turn))
                waiting[question[:2]] = time.monotonic()
                application.send(question)
                told.queries += 1
            take(0)
        end = time.monotonic() + deadline_seconds()  # behind it a query counts as lost
        while waiting and time.monotonic() < end:
            take(0.1)
    return told
