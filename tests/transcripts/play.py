#!/usr/bin/python3
"""Plays transcripts against the model and the real program; every byte and trace line must be as written.

    tests/transcripts/play.py                 all of this folder
    tests/transcripts/play.py FILE ...        these

Needs root, for a network of its own. The statements of a transcript are listed in transcript.py.
"""

import argparse
import pathlib
import sys

TESTS = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(TESTS))

from harness import CannotTest, OneSentenceParser, binary_path, deadline_seconds, enter  # noqa: E402
from harness.commands import UNUSABLE  # noqa: E402
from transcripts import transcript  # noqa: E402
from transcripts.sides import Mismatch, play_on_model, play_on_program  # noqa: E402

OK, DIFFERENT = 0, 1


def all_files():
    return sorted(pathlib.Path(__file__).parent.glob("*.txt"))


def play(conversation):
    """Raises Mismatch."""
    play_on_model(conversation)
    play_on_program(conversation)


def play_all(transcripts):
    status = OK
    for each in transcripts:
        try:
            play(each)
            print(f"{each.name}: as written")
        except Mismatch as mismatch:
            status = DIFFERENT
            print(mismatch, file=sys.stderr)
    return status


def main(arguments=None):
    parser = OneSentenceParser(
        prog="play.py",
        description=__doc__.splitlines()[0],
        epilog=transcript.__doc__,
        formatter_class=argparse.RawDescriptionHelpFormatter,
    )
    parser.add_argument("files", nargs="*", metavar="FILE", help="without any, all of this folder")
    files = parser.parse_args(arguments).files or all_files()
    try:
        transcripts = [transcript.read(file) for file in files]
        binary_path()
        deadline_seconds()
        enter()
        return play_all(transcripts)
    except CannotTest as error:
        print(error, file=sys.stderr)
        return UNUSABLE


if __name__ == "__main__":
    sys.exit(main())
