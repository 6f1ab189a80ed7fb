"""macOS, which has no namespaces: the addresses that the tests use become aliases of the loopback interface,
and the configuration is put aside; both are undone at the end of the process.

Run as a program it does this around a command: private_macos.py COMMAND [ARGUMENT...].
"""

import atexit
import contextlib
import os
import pathlib
import shutil
import signal
import subprocess
import sys

CONFIGURATION_DIRECTORY = pathlib.Path("/var/log/Varnok")
PUT_ASIDE = CONFIGURATION_DIRECTORY.with_name("Varnok.put_aside_by_tests")
ALIASES = [
    *(f"127.0.0.{host}" for host in (*range(2, 10), 77)),
    *(f"127.0.1.{host}" for host in range(1, 161)),
    *(f"127.0.9.{host}" for host in range(1, 4)),
    *(f"127.0.53.{host}" for host in (1, 2, 3, 4, 53)),
    "127.0.0.53",
    "127.9.9.9",
]  # fmt: skip


class NamespaceError(Exception):
    """Replaced below by a kind of CannotTest where this is a module of the harness."""


if __package__:
    from .commands import CannotTest

    class NamespaceError(CannotTest):  # noqa: F811
        """The system does not let this process have a network and files of its own; the text is one sentence."""


def _put_back():
    """What a run that was ended by force has left is put back by the next one."""
    if PUT_ASIDE.exists():
        shutil.rmtree(CONFIGURATION_DIRECTORY, ignore_errors=True)
        PUT_ASIDE.rename(CONFIGURATION_DIRECTORY)


def _leave():
    shutil.rmtree(CONFIGURATION_DIRECTORY, ignore_errors=True)
    _put_back()
    for address in ALIASES:
        subprocess.run(["ifconfig", "lo0", "-alias", address], stderr=subprocess.DEVNULL, check=False)


def enter(configuration_directory=CONFIGURATION_DIRECTORY):
    if os.geteuid() != 0:
        raise NamespaceError("Addresses of the loopback interface are needed for these tests: run them as root.")
    _put_back()
    if CONFIGURATION_DIRECTORY.exists():
        CONFIGURATION_DIRECTORY.rename(PUT_ASIDE)
    atexit.register(_leave)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    for address in ALIASES:
        done = subprocess.run(["ifconfig", "lo0", "alias", address], stderr=subprocess.PIPE, text=True, check=False)
        if done.returncode != 0:
            raise NamespaceError(f"{address} is needed for these tests: {done.stderr.strip()}.")
    os.umask(0o022)  # an ordinary user's programs read the files too
    os.makedirs(configuration_directory)


@contextlib.contextmanager
def replace_file(path, source):
    target = pathlib.Path(path).resolve()
    kept = target.read_bytes()
    try:
        target.write_bytes(pathlib.Path(source).read_bytes())
        yield
    finally:
        target.write_bytes(kept)


if __name__ == "__main__":
    enter()
    sys.exit(subprocess.run(sys.argv[1:], check=False).returncode)
