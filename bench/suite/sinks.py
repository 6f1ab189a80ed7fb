"""Where a program's trace goes: nowhere, to a file, or into a pipe that somebody reads."""

import contextlib
import os
import subprocess

from . import places

NAMES = ("null", "file", "pipe")
TITLES = {"null": "/dev/null", "file": "file", "pipe": "pipe"}


def _trace_file():
    return places.work_folder() / "trace"


@contextlib.contextmanager
def opened(name):
    """A descriptor for the program's standard output, good for the length of the block."""
    if name == "pipe":
        reader = subprocess.Popen(["cat"], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
        try:
            yield reader.stdin.fileno()
        finally:
            reader.stdin.close()
            reader.wait()
        return
    path = _trace_file() if name == "file" else os.devnull
    with open(path, "wb") as output:
        yield output.fileno()


def file_size():
    return _trace_file().stat().st_size


def file_bytes():
    return _trace_file().read_bytes()
