#!/usr/bin/python3
"""Checks that includes never point up: startup on engine, engine on state, the trace on nobody."""

import pathlib
import re
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent
PROGRAM = TOP / "dns_proxy_mac"
LOCKS = {"mutex.h", "thread_annotations.h"}
MAY_INCLUDE = {
    "trace": {"trace"} | LOCKS,
    "state": {"state", "platform.h"} | LOCKS,
    "engine": {"engine", "state", "trace", "platform.h"},
    "startup": {"startup", "engine", "state", "trace", "platform.h"},
}
INCLUDE = re.compile(r'#include "dns_proxy_mac/([^/"]+)')


def offences():
    for folder, allowed in MAY_INCLUDE.items():
        files = sorted((PROGRAM / folder).iterdir())
        if not files:
            yield f"{folder}: no files"
        for file in files:
            for number, line in enumerate(file.read_text().splitlines(), 1):
                include = INCLUDE.match(line)
                if include and include.group(1) not in allowed:
                    yield f"{file.relative_to(TOP)}:{number}: {folder} may not include this: {line}"


def main():
    if len(sys.argv) > 1:
        print("floors.py: it takes no arguments.", file=sys.stderr)
        return 2
    found = list(offences())
    print("\n".join(found) if found else "every include points down")
    return 1 if found else 0


sys.exit(main())
