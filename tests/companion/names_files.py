"""The people's files of names, and the host map that is made from them."""

import pathlib
import shutil

from harness.namespace import CONFIGURATION_DIRECTORY

FOLDER = pathlib.Path(CONFIGURATION_DIRECTORY)
NAMES = FOLDER / "names"
LISTS = FOLDER / "names.d"
NEVER_LISTED = FOLDER / "never_listed"
HOST_MAP = FOLDER / "hostmap"
SAMPLE = b"proxy.example:10.0.0.1\n"  # as an installation makes it
MARK = b":made by dns_proxy_ctl from names and names.d, edit those; checksum "


def start_empty():
    shutil.rmtree(LISTS, ignore_errors=True)
    for file in FOLDER.iterdir():
        file.unlink()


def write(names=None, lists=None, never_listed=None, host_map=None):
    """Just these files, with these bytes; None: no such file."""
    start_empty()
    for path, content in ((NAMES, names), (NEVER_LISTED, never_listed), (HOST_MAP, host_map)):
        if content is not None:
            path.write_bytes(content)
    if lists is not None:
        LISTS.mkdir()
        for name, content in lists.items():
            (LISTS / name).write_bytes(content)


def fnv1a(data):
    value = 0xCBF29CE484222325
    for byte in data:
        value = (value ^ byte) * 0x100000001B3 % 2**64
    return f"{value:016x}".encode()


def made_of(pairs):
    """The file that holds these lines and says that it was made."""
    return MARK + fnv1a(pairs) + b"\n" + pairs
