#!/usr/bin/python3
"""Lists every message of the trace with the tests that compare it, whole and literally.

A test counts when a string literal of its own, or of a constant or helper of its file that it uses, holds
the printed line from its first character to its last. Status 1 when a message has no test.
Usage: tests/messages.py [--all]; without --all three tests of each message are named.
"""

import pathlib
import re
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(TOP / "tests"))

from literals import cpp, python  # noqa: E402  (found through the line above)

LINES = TOP / "dns_proxy_mac" / "trace" / "lines.h"
NAMED_WITHOUT_ALL = 3
PLACEHOLDERS = {"%s": r".*", "%d": r"-?\d+", "%u": r"\d+"}


class Message:
    """One line that the proxy can print."""

    def __init__(self, text):
        self.shown = text.rstrip("\n")
        parts = re.split("(%[sdu])", self.shown)
        self._pattern = re.compile("".join(PLACEHOLDERS.get(part) or re.escape(part) for part in parts))
        self.tests = []

    def is_printed_as(self, line):
        return self._pattern.fullmatch(line) is not None


def messages():
    """In the order of the list."""
    return [Message(text) for text in cpp.constants(LINES.read_text(encoding="utf-8"))]


def printed_lines():
    """(test, line) for each line of each literal that a test uses."""
    for path in sorted((TOP / "tests" / "unit").glob("*.cpp")):
        yield from cpp.lines_of_tests(path)
    for path in sorted((TOP / "tests" / "e2e").glob("test_*.py")):
        yield from python.lines_of_tests(path)


def main(arguments):
    if arguments not in ([], ["--all"]):
        print("messages.py: nothing but --all can be asked for.", file=sys.stderr)
        return 2
    listed = messages()
    if not listed:
        print(f"messages.py: there are no messages in {LINES}.", file=sys.stderr)
        return 2
    for test, line in sorted(set(printed_lines())):
        for message in listed:
            if message.is_printed_as(line) and test not in message.tests:
                message.tests.append(test)
    for message in listed:
        named = message.tests if "--all" in arguments else message.tests[:NAMED_WITHOUT_ALL]
        more = len(message.tests) - len(named)
        print(message.shown)
        print("".join(f"    {test}\n" for test in named) + (f"    and {more} more\n" if more else ""), end="")
        if not message.tests:
            print("    NO TEST")
    without = [message for message in listed if not message.tests]
    print(f"{len(listed)} messages, {len(without)} without a test")
    return 1 if without else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
