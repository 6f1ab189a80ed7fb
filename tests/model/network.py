"""Address texts, and which sends get through in a network that has nothing but its loopback interface."""

import errno
import socket

ALL_ONES = "255.255.255.255"
LOOPBACK_BROADCAST = "127.255.255.255"
OWN_ADDRESSES = ("127.0.0.1", "0.0.0.0")


def address_of(text):
    """The dotted address that the C library's address reader makes of a text, all ones for a bad one."""
    try:
        return socket.inet_ntoa(socket.inet_aton(text.decode("latin-1")))
    except OSError:
        return ALL_ONES


def address_bytes(address):
    return socket.inet_aton(address)


class ProxyAsksItself(Exception):
    """A server address that leads back to the proxy, without an end; the text is the address."""


def _unreachable(address):
    """0, or the error number of a send to an address."""
    if address == LOOPBACK_BROADCAST:
        return errno.EACCES
    return 0 if address.startswith("127.") else errno.ENETUNREACH


class LoopbackOnly:
    """Error numbers of the proxy's sends, 0 for one that gets through."""

    def send_to_server(self, address):
        """Raises ProxyAsksItself for the proxy's own address: what comes of that is not modelled."""
        if address in OWN_ADDRESSES:
            raise ProxyAsksItself(address)
        return _unreachable(address)

    def send_to_application(self, address, port):
        """A datagram may come from an address that no answer can be sent to: a forged one, or port 0."""
        return errno.EINVAL if port == 0 else _unreachable(address)
