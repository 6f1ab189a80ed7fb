"""Everybody around the proxy: sockets on loopback addresses, and forged senders that have none."""

import select
import socket
import struct

from harness import Application
from harness.peers import LARGEST_DATAGRAM, PROXY_ADDRESS

from ..engine import SERVER_PORT
from ..tables import SERVER

RECEIVE_BUFFER_BYTES = 1 << 20
UDP_PROTOCOL = 17


def is_forged(source):
    """Whether no socket can have this address in a network of loopback alone."""
    address, port = source
    return port == 0 or not address.startswith("127.") or address == "127.255.255.255"


def forged_packet(source, destination, datagram):
    """An IPv4 packet with a UDP datagram; the system fills in length and checksum of the outer header."""
    udp = struct.pack("!HHHH", source[1], destination[1], 8 + len(datagram), 0)
    ends = socket.inet_aton(source[0]) + socket.inet_aton(destination[0])
    return struct.pack("!BBHHHBBH", 0x45, 0, 0, 0, 0, 64, UDP_PROTOCOL, 0) + ends + udp + datagram


class Peers:
    """Sockets are opened when first named and stay open, for the next life too, until the `with` block ends."""

    def __init__(self):
        self._peers = {}
        self._source_of = {}
        self._readable = select.epoll()
        self._raw = socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_RAW)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for peer in (*self._peers.values(), self._readable, self._raw):
            peer.close()

    def open(self, source):
        if source not in self._peers:
            peer = Application(*source)
            peer.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, RECEIVE_BUFFER_BYTES)
            peer.socket.setblocking(False)
            self._peers[source] = peer.socket
            self._source_of[peer.socket.fileno()] = source
            self._readable.register(peer.socket, select.EPOLLIN)
        return self._peers[source]

    def open_servers(self, model):
        """A socket for every server that a started model can send to, so that nothing sent is lost."""
        for method in model.engine.methods:
            if method.kind == SERVER and not model.network.send_to_server(method.address):
                self.open((method.address, SERVER_PORT))

    def send(self, source, datagram, destination=PROXY_ADDRESS):
        if is_forged(source):
            self._raw.sendto(forged_packet(source, destination, datagram), (destination[0], 0))
        else:
            self.open(source).sendto(datagram, destination)

    def receive(self, source, deadline):
        """(datagram, sender), or None past the deadline."""
        peer = self.open(source)
        try:
            return peer.recvfrom(LARGEST_DATAGRAM)
        except BlockingIOError:
            if not select.select([peer], [], [], deadline)[0]:
                return None
            return peer.recvfrom(LARGEST_DATAGRAM)

    def unexpected(self):
        """(receiver, datagram) of one that is waiting, or None."""
        for descriptor, _ in self._readable.poll(0, 1):
            source = self._source_of[descriptor]
            return source, self._peers[source].recv(LARGEST_DATAGRAM)
        return None

    def drain(self):
        """Forgets what a failed life has left."""
        while self.unexpected():
            pass
