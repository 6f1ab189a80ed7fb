"""The trace reader against the model's truth: random lives with hostile names, two workers, any cutting."""

import os
import pathlib
import random
import subprocess

import pytest
from trace_lives import Run, long_life
from trace_truth import LOST, NOT_LOST, Truth, life

import ctl

REPLAY_VARIABLE = "TRACE_REPLAY"


def replay(path, *arguments):
    """What the reader makes of the trace in a file: its counts, and a record for each query."""
    program = os.environ.get(REPLAY_VARIABLE, pathlib.Path(ctl.ctl_path()).parent / "tests" / "common" / "trace_replay")
    output = subprocess.run([program, path, *map(str, arguments)], stdout=subprocess.PIPE, timeout=60, check=True).stdout.decode()
    counts, kinds, queries = {}, {}, []
    for line in output.splitlines():
        words = line.split(" ")
        if words[0] == "kind":
            kinds[int(words[1])] = int(words[2])
        elif words[0] == "query":
            queries.append([int(words[2]), int(words[3]), bytes.fromhex(words[-1])])
        else:
            counts[words[0]] = int(words[1])
    kinds[LOST] = kinds.get(LOST, 0) - kinds.pop(NOT_LOST, 0)
    return {kind: count for kind, count in kinds.items() if count}, queries, counts, output


def assert_agrees(path, trace, truth):
    kinds, queries, counts, _ = replay(path)
    if truth.has_doubt:
        return
    assert kinds == {kind: count for kind, count in truth.kinds.items() if count and kind is not None}
    assert queries == truth.queries
    if truth.is_whole:
        assert counts["not_understood"] == 0
        assert counts["lines"] == trace.count(b"\n")
        assert counts["unfinished"] == 0


def fresh_seed():
    """Another one in every run, and the same in all processes of one."""
    run = os.environ.get("PYTEST_XDIST_TESTRUNUID") or str(random.SystemRandom().random())
    return random.Random(run).randrange(1 << 32)


SEEDS = [*range(1, 81), fresh_seed()]


@pytest.mark.parametrize("seed", SEEDS)
def test_every_count_and_record_is_the_truth(tmp_path, seed):
    source = random.Random(seed)
    path = tmp_path / "trace"
    trace, truth = life(source)
    path.write_bytes(trace)
    assert_agrees(path, trace, truth)


@pytest.mark.parametrize("seed", SEEDS[:30])
def test_responses_forged_before_the_lines_of_their_query_change_no_count(tmp_path, seed):
    path = tmp_path / "trace"
    trace, truth = life(random.Random(seed), cuts=False)
    path.write_bytes(trace)
    assert_agrees(path, trace, truth)


def test_the_lives_hold_what_they_are_to_hold():
    truths = [life(random.Random(seed), cuts=False)[1] for seed in range(1, 11)]
    assert sum(truth.early for truth in truths) > 100
    assert sum(not truth.has_doubt for truth in truths) > 5


@pytest.mark.parametrize("seed", SEEDS[:30])
def test_the_cutting_into_pieces_changes_nothing(tmp_path, seed):
    path = tmp_path / "trace"
    path.write_bytes(life(random.Random(seed))[0])
    whole = replay(path)[3]
    for number in range(1, 3):
        assert replay(path, number)[3] == whole


@pytest.mark.parametrize("seed", SEEDS[:30])
def test_a_reader_that_was_saved_goes_on_as_if_nothing_had_been(tmp_path, seed):
    path = tmp_path / "trace"
    path.write_bytes(life(random.Random(seed))[0])
    whole = replay(path)[3]
    for number in range(1, 3):
        assert replay(path, number, "save")[3] == whole


def test_ids_come_round_while_earlier_queries_wait(tmp_path):
    with long_life():
        run = Run(random.Random(900), 190_000, hostile=False, ends=False)
        trace = b"".join(line.printed for line in run.lines)
        truth = Truth()
        truth.add_run(run.lines, len(trace))
    path = tmp_path / "trace"
    path.write_bytes(trace)
    assert len(truth.queries) > 65536
    assert any(line.is_lost for line in run.lines)
    assert_agrees(path, trace, truth)
