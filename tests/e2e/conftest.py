"""Runs the whole session in a network and a file tree of its own. Needs root."""

import pathlib
import sys

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))

import harness  # noqa: E402  (found through the line above)
from harness import left_out_on_macos  # noqa: E402

STATUS_WHEN_IMPOSSIBLE = 2


def pytest_configure(config):
    try:
        harness.binary_path()
        harness.enter()
    except harness.CannotTest as error:
        pytest.exit(str(error), returncode=STATUS_WHEN_IMPOSSIBLE)


def pytest_collection_modifyitems(config, items):
    left_out_on_macos.leave_out(config, items)
