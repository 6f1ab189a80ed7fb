"""Runs the whole session in a network and a file tree of its own. Needs root."""

import os
import pathlib
import sys
import tempfile

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))

import harness  # noqa: E402  (found through the line above)
from harness import busy_machine, left_out_on_macos  # noqa: E402

import ctl  # noqa: E402

STATUS_WHEN_IMPOSSIBLE = 2


def pytest_configure(config):
    busy_machine.may_try_again(config)
    os.environ["TERM"] = "xterm"  # a continuous integration service has none, and the live view is for terminals
    try:
        harness.binary_path()
        ctl.ctl_path()
        harness.enter()
    except harness.CannotTest as error:
        pytest.exit(str(error), returncode=STATUS_WHEN_IMPOSSIBLE)


@pytest.fixture
def open_folder():
    """A folder of the test's own that every user may pass. pytest's are closed to others, and so are those that
    they lie in, which belong to other tests as well or to the machine."""
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        folder.chmod(0o755)
        yield folder


def pytest_collection_modifyitems(config, items):
    left_out_on_macos.leave_out(config, items)
