"""A network and a file tree of the tests' own.

Inside, port 53 of every address of 127.0.0.0/8 that the tests use is free, and the directory of the two
configuration files is an empty one. On Linux no datagram leaves the machine, and nobody else sees any of it;
macOS has no namespaces, and gets as near to that as it can. Nothing else in the harness asks which system it
is on, but for processes.py.
"""

import socket
import sys

if sys.platform == "darwin":
    from . import private_macos as private
else:
    from . import private_linux as private

CONFIGURATION_DIRECTORY = "/var/log/Varnok"

NamespaceError = private.NamespaceError
_entered = False


def enter():
    """Moves the calling process into a network and a file tree of its own; a second call does nothing.

    Must run before the process starts a thread: threads started later belong to the new ones, threads started
    earlier would stay outside. Raises NamespaceError when it is not permitted.
    """
    global _entered
    if not _entered:
        private.enter(CONFIGURATION_DIRECTORY)
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


def replace_file(path, source):
    """Shows `source` at `path` for a `with` block, on Linux to this process and its children only. Both exist."""
    return private.replace_file(path, source)
