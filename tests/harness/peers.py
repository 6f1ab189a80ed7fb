"""The two kinds of peers that the proxy has: applications below, name servers above.

Nothing here answers by itself: a test receives one datagram, looks at it and says what happens next.
"""

import select
import socket

from .waiting import deadline_seconds

PORT = 53
PROXY_ADDRESS = ("127.0.0.1", PORT)
LARGEST_DATAGRAM = 65535


class _Peer:
    """A UDP socket with a deadline on every receive. Closed with the `with` block."""

    def __init__(self, address, port):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind((address, port))
        self.address, self.port = self.socket.getsockname()
        self.last_sender = None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self.socket.close()

    def receive(self):
        """The next datagram; its sender is kept in `last_sender`. AssertionError past the deadline."""
        if not select.select([self.socket], [], [], deadline_seconds())[0]:
            raise AssertionError(f"no datagram for {self.address}:{self.port} within {deadline_seconds():g} s")
        datagram, self.last_sender = self.socket.recvfrom(LARGEST_DATAGRAM)
        return datagram

    def assert_nothing_received(self):
        """Nothing is waiting here. Means something only behind a barrier: after a trace line, an answer or
        the end of a thread that comes later than the datagram would have."""
        if select.select([self.socket], [], [], 0)[0]:
            raise AssertionError(f"unexpected datagram for {self.address}:{self.port}: {self.receive().hex(' ')}")


class Application(_Peer):
    """A local application: its queries go to 127.0.0.1 port 53, and only from there it takes answers."""

    def __init__(self, address="127.0.0.1", port=0):
        super().__init__(address, port)

    def send(self, datagram):
        self.socket.sendto(datagram, PROXY_ADDRESS)

    def receive(self):
        datagram = super().receive()
        assert self.last_sender == PROXY_ADDRESS, f"an answer came from {self.last_sender}"
        return datagram


class Upstream(_Peer):
    """A name server on port 53 of an address of 127.0.0.0/8, or any other sender toward the proxy.

    The proxy's upstream port is known from the first query on; a server that never got one takes
    another's `last_sender`.
    """

    def __init__(self, address, port=PORT):
        super().__init__(address, port)

    def send(self, datagram, to=None):
        """Sends to the proxy's upstream socket: to where the last query came from, or `to`."""
        destination = to or self.last_sender
        assert destination, "no query has come yet, so the proxy's upstream port is not known"
        self.socket.sendto(datagram, destination)
