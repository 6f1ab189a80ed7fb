"""A network and a file tree of the tests' own.

Inside, port 53 of every address in 127.0.0.0/8 is free, no datagram leaves the machine, and the
directory of the two configuration files is an empty one that nobody else sees.
"""

import contextlib
import ctypes
import fcntl
import os
import socket
import struct
import sys

from .commands import CannotTest

CONFIGURATION_DIRECTORY = "/var/log/Varnok"

CLONE_NEWNS = 0x00020000
CLONE_NEWNET = 0x40000000
MS_BIND = 0x1000
MS_REC = 0x4000
MS_PRIVATE = 0x40000
MNT_DETACH = 0x2
SIOCGIFFLAGS = 0x8913
SIOCSIFFLAGS = 0x8914
IFF_UP = 0x1

_libc = ctypes.CDLL(None, use_errno=True)
_entered = False


class NamespaceError(CannotTest):
    """The system does not let this process have namespaces of its own; the text is one sentence."""


def _checked(result, what):
    if result != 0:
        reason = os.strerror(ctypes.get_errno())
        raise NamespaceError(f"A network and mount namespace is needed for these tests: {what}: {reason}.")


def _mount(source, target, kind, flags, what):
    encoded = [text.encode() if text else None for text in (source, target, kind)]
    _checked(_libc.mount(*encoded, ctypes.c_ulong(flags), None), what)


def _loopback_up():
    request = struct.Struct("16sH14x")
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as any_socket:
        answer = fcntl.ioctl(any_socket, SIOCGIFFLAGS, request.pack(b"lo", 0))
        flags = request.unpack(answer)[1]
        fcntl.ioctl(any_socket, SIOCSIFFLAGS, request.pack(b"lo", flags | IFF_UP))


def enter():
    """Moves the calling process into namespaces of its own; a second call does nothing.

    Must run before the process starts a thread: threads started later belong to the new namespaces,
    threads started earlier would stay outside. Raises NamespaceError when it is not permitted.
    """
    global _entered
    if _entered:
        return
    _checked(_libc.unshare(CLONE_NEWNS | CLONE_NEWNET), "unshare (are you root?)")
    _mount("none", "/", None, MS_REC | MS_PRIVATE, "making the mounts private")
    _mount("tmpfs", "/var/log", "tmpfs", 0, "mounting a private /var/log")
    os.umask(0o022)  # an ordinary user's programs read the files too
    os.mkdir(CONFIGURATION_DIRECTORY)
    _loopback_up()
    _entered = True


def enter_or_exit():
    """As `enter`, for scripts: when it is not permitted, one sentence on standard error and status 1."""
    try:
        enter()
    except NamespaceError as error:
        sys.exit(str(error))


def where_there_is_ipv6(*cases):
    """The cases of a test that want sockets of IPv6; none when the machine's kernel has it turned off."""
    try:
        socket.socket(socket.AF_INET6, socket.SOCK_DGRAM).close()
    except OSError:
        return []
    return list(cases)


@contextlib.contextmanager
def replace_file(path, source):
    """Shows `source` at `path`, to this process and its children only, for a `with` block. Both must exist."""
    target = os.path.realpath(path)
    _mount(os.path.realpath(source), target, None, MS_BIND, f"mounting over {path}")
    try:
        yield
    finally:
        _checked(_libc.umount2(target.encode(), MNT_DETACH), f"unmounting {path}")
