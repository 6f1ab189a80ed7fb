#!/usr/bin/python3
"""Checks what includes what: inside the proxy startup on engine, engine on state, the trace on nobody;
and each wing on itself, common/ and the proxy's contracts, never on another wing."""

import pathlib
import re
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent
PROXY = "dns_proxy_mac"
LAYERS = {
    "trace": {"trace", "mutex.h"},
    "state": {"state", "platform.h", "mutex.h"},
    "engine": {"engine", "state", "trace", "platform.h"},
    "startup": {"startup", "engine", "state", "trace", "platform.h"},
}
# The programs beside the proxy. A folder that is not there yet is passed over.
WINGS = ("common", "companion", "upstream", "page")
# What they may know of the proxy: its formats, its files, its limits and its lines.
CONTRACTS = {
    "engine/dns_message.h",
    "startup/configuration_files.h",
    "state/dns_method_info.h",
    "state/dns_request.h",
    "state/host_table.h",
    "trace/lines.h",
    "trace/output.h",
}
INCLUDE = re.compile(r'\s*#\s*include "([^/"]+)/([^"]+)"')


def includes(folder):
    """(file and line number, wing, path below it) of each include of a file of the project."""
    for file in sorted(path for path in folder.rglob("*") if path.suffix in (".h", ".cpp")):
        for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), 1):
            if found := INCLUDE.match(line):
                yield f"{file.relative_to(TOP)}:{number}", *found.groups()


def offences():
    for layer, allowed in LAYERS.items():
        if not list((TOP / PROXY / layer).glob("*")):
            yield f"{PROXY}/{layer}: no files"
        for place, wing, path in includes(TOP / PROXY / layer):
            if wing != PROXY or path.split("/")[0] not in allowed:
                yield f"{place}: {layer} may not include {wing}/{path}"
    for wing in WINGS:
        for place, other, path in includes(TOP / wing):
            if other not in (wing, "common") and not (other == PROXY and path in CONTRACTS):
                yield f"{place}: {wing} may not include {other}/{path}"


def main():
    if len(sys.argv) > 1:
        print("layers.py: it takes no arguments.", file=sys.stderr)
        return 2
    found = list(offences())
    print("\n".join(found) if found else "every include points down")
    return 1 if found else 0


sys.exit(main())
