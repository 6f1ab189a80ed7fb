"""What a process is doing, as its system tells it: from /proc on Linux, through ps and lsof on macOS."""

import os
import pathlib
import re
import subprocess
import sys


class _Linux:
    @staticmethod
    def threads(pid):
        return [int(name) for name in os.listdir(f"/proc/{pid}/task")]

    @classmethod
    def states(cls, pid):
        return [cls._state(pid, thread) for thread in cls.threads(pid)]

    @staticmethod
    def _state(pid, thread):
        try:
            with open(f"/proc/{pid}/task/{thread}/stat", encoding="latin-1") as status:
                return status.read().rsplit(") ", 1)[1][0]
        except (FileNotFoundError, ProcessLookupError):
            return None

    @classmethod
    def udp_sockets(cls, pid):
        inodes = {cls._socket_inode(pid, name) for name in os.listdir(f"/proc/{pid}/fd")}
        rows = [line.split() for line in pathlib.Path(f"/proc/{pid}/net/udp").read_text("ascii").splitlines()[1:]]
        for row in rows:
            if row[9] in inodes:
                address, port = row[1].split(":")
                yield ".".join(str(byte) for byte in reversed(bytes.fromhex(address))), int(port, 16)

    @staticmethod
    def _socket_inode(pid, descriptor):
        try:
            target = os.readlink(f"/proc/{pid}/fd/{descriptor}")
        except FileNotFoundError:
            return None
        return target[len("socket:[") : -1] if target.startswith("socket:[") else None


class Macos:
    """Threads have no ids to be had: they are counted, the oldest first."""

    @staticmethod
    def _said(*command):
        return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=False).stdout

    @classmethod
    def states(cls, pid):
        # A row for each thread; the state is behind the share of the processor.
        rows = cls._said("ps", "-M", "-p", str(pid)).splitlines()[1:]
        return [found[1] for found in (re.search(r" \d+\.\d+ +([A-Z])\S* +\d+", row) for row in rows) if found]

    @classmethod
    def threads(cls, pid):
        return list(range(len(cls.states(pid))))

    @classmethod
    def udp_sockets(cls, pid):
        for line in cls._said("lsof", "-nP", "-a", "-p", str(pid), "-i4UDP", "-Fn").splitlines():
            found = re.fullmatch(r"n(\*|[0-9.]+):(\d+)", line)
            if found:
                yield found[1].replace("*", "0.0.0.0"), int(found[2])


_own = Macos if sys.platform == "darwin" else _Linux


def threads(pid):
    """The ids of its threads, in the order of their creation."""
    return _own.threads(pid)


def states(pid):
    """A letter for each thread: S for one that waits, T for a stopped one; None for one that has just ended."""
    return _own.states(pid)


def udp_sockets(pid):
    """(address, port) of each IPv4 socket that has a port."""
    return list(_own.udp_sockets(pid))
