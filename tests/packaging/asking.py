"""What an application sees of the proxy: whether, and how soon, it answers."""

import pathlib
import select
import time

from harness import Application, Upstream, from_hex, query, wait_until

CONFIGURED_SERVER = "127.0.0.2"
MAPPED_NAME = query(0x1234, "proxy.example")
ITS_ANSWER = from_hex(
    "12 34 81 00 00 01 00 01 00 00 00 00  05 70 72 6f 78 79 07 65 78 61 6d 70 6c 65 00  00 01 00 01"
    "c0 0c 00 01 00 01 00 01 51 80 00 04 0a 00 00 01"
)
SECONDS_FOR_AN_ANSWER = 0.02
TOO_SHORT = bytes(11)


def answer_now(datagram, seconds=SECONDS_FOR_AN_ANSWER):
    """The proxy's answer if it comes within so long; None otherwise."""
    with Application() as application:
        application.send(datagram)
        if select.select([application.socket], [], [], seconds)[0]:
            return application.receive()
    return None


def is_answering(seconds=SECONDS_FOR_AN_ANSWER):
    return answer_now(MAPPED_NAME, seconds) == ITS_ANSWER


def wait_for_answers():
    wait_until(is_answering, "an answer of the proxy")


def address_of(name):
    """What the host map of the running proxy says; None when it does not know the name."""
    answer = answer_now(query(0x1234, name))
    return ".".join(str(byte) for byte in answer[-4:]) if answer else None


def ask_mapped_name(times):
    """One query after the other, each answered."""
    with Application() as application:
        for _ in range(times):
            application.send(MAPPED_NAME)
            assert application.receive() == ITS_ANSWER


def proxys_socket():
    """The number of the socket on the proxy's port, another one with the next proxy; None while there is none."""
    rows = [line.split() for line in pathlib.Path("/proc/self/net/udp").read_text(encoding="ascii").splitlines()]
    return next((row[9] for row in rows if row[1] == "0100007F:0035"), None)


def wait_until_gone(socket):
    """The proxy that had it has ended; the next one may be there already."""
    wait_until(lambda: proxys_socket() != socket, "the end of the proxy")


def end_intake():
    """Sends what ends the proxy's intake, and waits until the watch has ended the proxy for it."""
    socket = proxys_socket()
    with Application() as application:
        application.send(TOO_SHORT)
    wait_until_gone(socket)


def end_relay():
    """Answers a query of the proxy with what ends its relay, and the proxy with it, and waits until it has."""
    socket = proxys_socket()
    with Upstream(CONFIGURED_SERVER) as server, Application() as application:
        application.send(query(0x4321, "elsewhere.example"))
        server.receive()
        server.send(TOO_SHORT)
    wait_until_gone(socket)


def seconds_until_answered_after(ending):
    """How long applications are without answers, from the datagram on that ends the intake or the relay."""
    start = time.monotonic()
    ending()
    wait_for_answers()
    return time.monotonic() - start
