"""Which tests get another try, and when."""

import os
import re
import subprocess

import pytest

from checkout import REPOSITORY

CONFTEST = """\
import sys
sys.path.insert(0, {tests!r})
from harness import busy_machine
busy_machine.is_busy = lambda: {busy}


def pytest_configure(config):
    busy_machine.may_try_again(config)
"""
TESTS = """\
import pytest

tries = []


@pytest.fixture
def fresh():
    yield
    tries.append("ended")


{mark}
def test_something(fresh):
    tries.append("begun")
    assert tries.count("begun") == {passes} == tries.count("ended") + 1
"""
WITH_MARK = "@pytest.mark.in_its_time"


def outcome(folder, busy, mark, passes):
    """What pytest says of a test that passes at this try, and of no other."""
    (folder / "conftest.py").write_text(CONFTEST.format(tests=str(REPOSITORY / "tests"), busy=busy))
    (folder / "test_it.py").write_text(TESTS.format(mark=mark, passes=passes))
    command = ["/usr/bin/python3", "-m", "pytest", "-q", "-p", "no:cacheprovider", "-W", "error", folder]
    environment = {**os.environ, "PYTEST_ADDOPTS": ""}
    said = subprocess.run(command, env=environment, cwd=folder, stdout=subprocess.PIPE, text=True, check=False).stdout
    return re.findall(r"^(\d+ \w+(?:, \d+ \w+)*) in ", said, re.MULTILINE)


@pytest.mark.parametrize("passes", [1, 2, 5])
def test_what_has_its_time_is_begun_anew_while_the_machine_is_busy(tmp_path, passes):
    assert outcome(tmp_path, busy=True, mark=WITH_MARK, passes=passes) == ["1 passed"]


@pytest.mark.parametrize(
    ("busy", "mark", "passes"),
    [(False, WITH_MARK, 2), (True, "", 2), (True, WITH_MARK, 6)],
    ids=["an idle machine", "without limits of its own", "never in time"],
)
def test_what_fails_fails(tmp_path, busy, mark, passes):
    assert outcome(tmp_path, busy, mark, passes) == ["1 failed"]
