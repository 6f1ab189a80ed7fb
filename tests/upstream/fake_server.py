"""A DNS server over UDP and TCP, on port 53 of any address; what it does can be changed while it runs."""

import selectors
import socket
import struct
import threading

import dns_bytes

LARGEST_DATAGRAM = 65535


class FakeServer:
    """`respond(query, transport)` gives the datagrams that go back, none of them to be silent.

    `queries`: all that has come, as (query, transport, sender's port).
    """

    def __init__(self, address, respond=None):
        self.address = address
        self.respond = respond or self.own_address
        self.queries = []
        family = socket.AF_INET6 if ":" in address else socket.AF_INET
        self.udp = socket.socket(family, socket.SOCK_DGRAM)
        self.udp.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 22)
        self.udp.bind((address, 53))
        self.tcp = socket.socket(family, socket.SOCK_STREAM)
        self.tcp.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.tcp.bind((address, 53))
        self.tcp.listen(64)
        self._wake, self._woken = socket.socketpair()
        self._connections = {}
        self._thread = threading.Thread(target=self._serve, daemon=True)

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *_):
        self._wake.send(b"x")
        self._thread.join()
        for any_socket in (self.udp, self.tcp, self._wake, self._woken, *self._connections):
            any_socket.close()

    def own_address(self, query, _transport):
        last = self.address.rpartition(".")[2] if "." in self.address else "66"
        return [dns_bytes.answer(query, [f"10.0.0.{last}"])]

    def be_silent(self):
        self.respond = lambda query, transport: []

    def be_well(self):
        self.respond = self.own_address

    def asked(self):
        """The queries but those for a sign of life."""
        return [entry for entry in list(self.queries) if entry[0][12] != 0]

    def _serve(self):
        with selectors.DefaultSelector() as selector:
            for any_socket in (self.udp, self.tcp, self._woken):
                selector.register(any_socket, selectors.EVENT_READ)
            while True:
                for key, _ in selector.select():
                    if key.fileobj is self._woken:
                        return
                    if key.fileobj is self.udp:
                        self._datagram()
                    elif key.fileobj is self.tcp:
                        connection = self.tcp.accept()[0]
                        self._connections[connection] = b""
                        selector.register(connection, selectors.EVENT_READ)
                    else:
                        self._stream(key.fileobj, selector)

    def _datagram(self):
        query, sender = self.udp.recvfrom(LARGEST_DATAGRAM)
        self.queries.append((query, "udp", sender[1]))
        for response in self.respond(query, "udp"):
            self.udp.sendto(response, sender)

    def _stream(self, connection, selector):
        try:
            piece = connection.recv(LARGEST_DATAGRAM)
        except ConnectionError:
            piece = b""
        if not piece:
            selector.unregister(connection)
            del self._connections[connection]
            connection.close()
            return
        gathered = self._connections[connection] + piece
        while len(gathered) >= 2 and len(gathered) >= 2 + struct.unpack("!H", gathered[:2])[0]:
            end = 2 + struct.unpack("!H", gathered[:2])[0]
            query, gathered = gathered[2:end], gathered[end:]
            self.queries.append((query, "tcp", connection.getpeername()[1]))
            for response in self.respond(query, "tcp"):
                connection.sendall(struct.pack("!H", len(response)) + response)
        self._connections[connection] = gathered
