"""Runs the whole session in a network and a file tree of its own. Needs root."""

import pathlib
import sys

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))

import harness  # noqa: E402  (found through the line above)

from checkout import Checkout  # noqa: E402

STATUS_WHEN_IMPOSSIBLE = 2


def pytest_configure(config):
    try:
        harness.wait_at_least(300)  # seconds, for commands that may have to wait for their turn
        harness.enter()
    except harness.CannotTest as error:
        pytest.exit(str(error), returncode=STATUS_WHEN_IMPOSSIBLE)


@pytest.fixture
def checkout(tmp_path):
    """A checkout of its own without a build folder, and tools that stand in for those that take long."""
    return Checkout(tmp_path)
