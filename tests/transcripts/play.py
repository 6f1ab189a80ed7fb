#!/usr/bin/env python3
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

from harness import BinaryMissing, NamespaceError, binary_path, enter  # noqa: E402
from transcripts.sides import Mismatch, play_on_model, play_on_program  # noqa: E402
from transcripts.transcript import TranscriptError, read  # noqa: E402

OK, DIFFERENT, UNPLAYABLE = 0, 1, 2


def all_files():
    return sorted(pathlib.Path(__file__).parent.glob("*.txt"))


def play(transcript):
    """Raises Mismatch."""
    play_on_model(transcript)
    play_on_program(transcript)


def main(arguments=None):
    parser = argparse.ArgumentParser(prog="play.py", description=__doc__.splitlines()[0])
    parser.add_argument("files", nargs="*", metavar="FILE", help="without any, all of this folder")
    files = parser.parse_args(arguments).files or all_files()
    try:
        transcripts = [read(file) for file in files]
        binary_path()
        enter()
    except (TranscriptError, BinaryMissing, NamespaceError) as error:
        print(error, file=sys.stderr)
        return UNPLAYABLE
    different = 0
    for transcript in transcripts:
        try:
            play(transcript)
            print(f"{transcript.name}: as written")
        except Mismatch as mismatch:
            different += 1
            print(mismatch, file=sys.stderr)
    return DIFFERENT if different else OK


if __name__ == "__main__":
    sys.exit(main())
