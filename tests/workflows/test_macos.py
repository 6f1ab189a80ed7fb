"""What docs/architecture.md and ./test say of macOS, held against what is there."""

import re
import subprocess

from test_workflows import REPOSITORY

PAGE = (REPOSITORY / "docs/architecture.md").read_text()
TABLE = PAGE.split("\n## System calls whose answers are relied on\n")[1].split("\n## ")[0]
PLAYED = (REPOSITORY / "tests/unit/macos_behaviour_test.cpp").read_text()
TESTS = set(re.findall(r"^TEST(?:_F|_P)?\((\w+), (\w+)\)", PLAYED, re.MULTILINE))
ROWS = [line for line in TABLE.splitlines() if line.startswith("| ") and not line.startswith("| Call ")]
LIST = ["./test", "list", "--system=Darwin"]


def named_tests(row):
    """What the last column names; "..." stands for the rest of a name."""
    return re.findall(r"`([^`]+)`", row.split("|")[-2])


def exists(name):
    beginning = name.removesuffix("...")
    words = {word for pair in TESTS for word in pair}
    return any(word.startswith(beginning) if name != beginning else word == beginning for word in words)


def test_every_row_of_the_table_names_what_plays_it():
    assert len(ROWS) >= 14
    assert [row for row in ROWS if not named_tests(row)] == []


def test_every_test_that_the_table_names_exists():
    named = [name for row in ROWS for name in named_tests(row) if name != "platform.h"]
    assert [name for name in named if not exists(name)] == []


def test_every_test_that_plays_macos_is_in_the_table():
    named = [name.removesuffix("...") for row in ROWS for name in named_tests(row)]
    unnamed = [pair for pair in TESTS if not any(word.startswith(name) for word in pair for name in named)]
    assert unnamed == []


def test_every_step_is_run_on_macos_or_left_out_with_a_reason():
    listed = subprocess.run(LIST, cwd=REPOSITORY, capture_output=True, text=True, check=True).stdout.splitlines()
    left_out = {line.removeprefix("left out ").split(":")[0]: line.split(": ", 1)[1] for line in listed if line.startswith("left out ")}
    run = [line for line in listed if not line.startswith("left out ")]
    steps = re.findall(r'^  "([\w-]+): ', (REPOSITORY / "test").read_text().split("readonly not_on_macos")[0], re.MULTILINE)
    assert sorted([*run, *left_out]) == sorted(steps)
    assert all(left_out.values())
    assert "macos-archive" in run


def test_steps_that_the_tables_of_systems_name_exist():
    text = (REPOSITORY / "test").read_text()
    steps, systems = text.split("readonly not_on_macos")
    names = re.findall(r'^  "([\w-]+): ', systems, re.MULTILINE)
    assert [name for name in names if f'\n  "{name}: ' not in steps] == []


def test_steps_that_take_libfuzzer_are_left_out_where_the_compiler_has_none():
    listed = subprocess.run(LIST, cwd=REPOSITORY, capture_output=True, text=True, check=True).stdout.splitlines()
    taking = re.findall(r'^  "([\w-]+): .* -- \S*fuzz/run ', (REPOSITORY / "test").read_text(), re.MULTILINE)
    assert len(taking) >= 3
    assert [step for step in taking if step in listed] == []
