"""Linux: a network and a file tree of the tests' own are namespaces, gone with the process."""

import contextlib
import ctypes
import fcntl
import os
import socket
import struct

from .commands import CannotTest

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


class NamespaceError(CannotTest):
    """The system does not let this process have a network and files of its own; the text is one sentence."""


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


def enter(configuration_directory):
    _checked(_libc.unshare(CLONE_NEWNS | CLONE_NEWNET), "unshare (are you root?)")
    _mount("none", "/", None, MS_REC | MS_PRIVATE, "making the mounts private")
    _mount("tmpfs", "/var/log", "tmpfs", 0, "mounting a private /var/log")
    os.umask(0o022)  # an ordinary user's programs read the files too
    os.mkdir(configuration_directory)
    _loopback_up()


@contextlib.contextmanager
def replace_file(path, source):
    target = os.path.realpath(path)
    _mount(os.path.realpath(source), target, None, MS_BIND, f"mounting over {path}")
    try:
        yield
    finally:
        _checked(_libc.umount2(target.encode(), MNT_DETACH), f"unmounting {path}")
