#!/usr/bin/python3
"""Plays random lives of the proxy on the model and on the real program, and compares every byte.

Needs root, for a network of its own. Each seed stands for as many lives as its steps need:

    tests/model/compare.py                            the fixed seeds and a fresh one
    tests/model/compare.py --seeds 5 --steps 100000   a long run of one seed
    tests/model/compare.py --seeds 5 --life 12 --keep 0-3,9   one life, or some of its steps

A step is a datagram, or a burst of them, after which all that happened is compared.
"""

import argparse
import os
import pathlib
import random
import shlex
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))

from harness import CannotTest, OneSentenceParser, binary_path, deadline_seconds, enter  # noqa: E402
from harness.commands import UNUSABLE  # noqa: E402
from harness.proxy import BINARY_VARIABLE  # noqa: E402
from model.differential import report, shrink  # noqa: E402
from model.differential.lives import life  # noqa: E402
from model.differential.peers import Peers  # noqa: E402

FIXED_SEEDS = list(range(1, 41))
STEPS_PER_SEED = 1000
MOST_NUMBERS = 1_000_000
NO_STEPS = "none"


def numbers(text):
    """The numbers of a text such as 0-3,7."""
    chosen = []
    for piece in text.split(","):
        first, dash, last = piece.partition("-")
        last = last if dash else first
        if not first.isdecimal() or not last.isdecimal() or int(last) < int(first):
            raise argparse.ArgumentTypeError(f"numbers and ranges such as 0-3,7 are needed, not {text!r}")
        if int(last) - int(first) >= MOST_NUMBERS:
            raise argparse.ArgumentTypeError(f"more than {MOST_NUMBERS} numbers at a time are too many: {text!r}")
        chosen += range(int(first), int(last) + 1)
    return chosen


def positions(text):
    """As `numbers`, and none at all."""
    return [] if text == NO_STEPS else numbers(text)


def ranges(chosen):
    """The text that `numbers` reads as these ascending numbers."""
    pieces = []
    for at, number in enumerate(chosen):
        if at and chosen[at - 1] == number - 1:
            pieces[-1] = f"{pieces[-1].split('-')[0]}-{number}"
        else:
            pieces.append(str(number))
    return ",".join(pieces)


def count(text):
    if not text.isdecimal() or int(text) == 0:
        raise argparse.ArgumentTypeError(f"a number from 1 on is needed, not {text!r}")
    return int(text)


def position(text):
    if not text.isdecimal():
        raise argparse.ArgumentTypeError(f"a number from 0 on is needed, not {text!r}")
    return int(text)


def parse(arguments):
    parser = OneSentenceParser(prog="compare.py", description=__doc__.splitlines()[0])
    parser.add_argument("--binary", help=f"the program, else {BINARY_VARIABLE} or the build folder's")
    parser.add_argument("--seeds", type=numbers, help="such as 5 or 1-9; without it the fixed ones and a fresh one")
    parser.add_argument("--steps", type=count, default=STEPS_PER_SEED, help="steps for each seed, at least")
    parser.add_argument("--life", type=position, help="only this life of the one seed given")
    parser.add_argument("--keep", type=positions, help=f"only these steps of it, or {NO_STEPS}")
    chosen = parser.parse_args(arguments)
    if chosen.life is not None and len(chosen.seeds or ()) != 1:
        parser.error("--life needs exactly one seed in --seeds")
    if chosen.keep is not None and chosen.life is None:
        parser.error("--keep needs --life")
    if chosen.keep is not None:
        steps = len(life(chosen.seeds[0], chosen.life).steps)
        if sorted(set(chosen.keep)) != chosen.keep or max(chosen.keep, default=-1) >= steps:
            parser.error(f"--keep takes ascending step numbers below {steps} for this life")
    return chosen


def replay_life(seed, number):
    """The command that plays one life on the same program again."""
    binary = os.environ.get(BINARY_VARIABLE)
    named = f"--binary {shlex.quote(binary)} " if binary else ""
    return f"tests/model/compare.py {named}--seeds {seed} --life {number}"


def replay_command(seed, number, kept):
    return f"{replay_life(seed, number)} --keep {ranges(kept) or NO_STEPS}"


def report_failure(seed, number, scenario, difference, peers):
    print(f"seed {seed}, life {number} differs at {difference}")
    if not shrink.failure(scenario, shrink.prefix(scenario, difference), peers):
        print(f"played again it shows no difference: it depends on timing. Replay: {replay_life(seed, number)}")
        return
    before, difference = shrink.shortest_prefix(scenario, difference, peers)
    print(f"shortest failing beginning: {len(before)} steps: {replay_command(seed, number, before)}")
    kept, smallest = shrink.smallest(scenario, before, difference, peers)
    print(f"smallest failing part: {len(kept)} steps:")
    print(report.scenario(scenario, kept))
    print(f"it differs at {smallest}")
    print(f"replay: {replay_command(seed, number, kept)}")


def play(seed, number, kept, peers):
    """Steps played, or None after a difference, which is then reported."""
    scenario = life(seed, number)
    try:
        return shrink.Lockstep(scenario, kept, peers).run()
    except shrink.Difference as difference:
        peers.drain()
        report_failure(seed, number, scenario, difference, peers)
        return None


def play_seed(seed, steps, peers):
    """(lives, steps), or None after a difference."""
    played = number = 0
    while played < steps:
        more = play(seed, number, None, peers)
        if more is None:
            return None
        played += more
        number += 1
    return number, played


def play_all(seeds, steps, peers):
    began, lives, played = time.monotonic(), 0, 0
    for seed in seeds:
        done = play_seed(seed, steps, peers)
        if done is None:
            return 1
        lives += done[0]
        played += done[1]
    seconds = time.monotonic() - began
    rate = played / seconds
    print(f"{played} steps in {lives} lives of {len(seeds)} seeds, no difference: {seconds:.1f} s, {rate:.0f} steps/s")
    return 0


def main(arguments=None):
    chosen = parse(arguments)
    if chosen.binary is not None:
        os.environ[BINARY_VARIABLE] = chosen.binary
    try:
        binary_path()
        deadline_seconds()
        enter()
        with Peers() as peers:
            return compare(chosen, peers)
    except CannotTest as error:
        print(error, file=sys.stderr)
        return UNUSABLE


def compare(chosen, peers):
    """The status of the command."""
    if chosen.life is not None:
        played = play(chosen.seeds[0], chosen.life, chosen.keep, peers)
        if played is not None:
            print(f"{played} steps, no difference")
        return 1 if played is None else 0
    seeds = chosen.seeds
    if seeds is None:
        fresh = random.SystemRandom().randrange(1 << 32)
        print(f"fresh seed: {fresh}", flush=True)
        seeds = [*FIXED_SEEDS, fresh]
    return play_all(seeds, chosen.steps, peers)


if __name__ == "__main__":
    sys.exit(main())
