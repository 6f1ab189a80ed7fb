"""Runs the whole session in a network and a file tree of its own, with an empty /run. Needs root."""

import pathlib
import subprocess
import sys

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))

import harness  # noqa: E402  (found through the line above)
from harness import busy_machine, left_out_on_macos  # noqa: E402
from fake_server import FakeServer  # noqa: E402
from program import Program, binary_path  # noqa: E402

STATUS_WHEN_IMPOSSIBLE = 2


def pytest_configure(config):
    busy_machine.may_try_again(config)
    try:
        harness.binary_path()
        binary_path()
        harness.enter()
    except harness.CannotTest as error:
        pytest.exit(str(error), returncode=STATUS_WHEN_IMPOSSIBLE)
    for folder in ("/run", "/var/lib/dhcp"):
        if pathlib.Path(folder).is_dir():
            subprocess.run(["mount", "-t", "tmpfs", "tmpfs", folder], check=True)


def pytest_terminal_summary(terminalreporter):
    """The measured figures, of tests that measure some."""
    for report in terminalreporter.getreports("passed"):
        for name, value in report.user_properties:
            terminalreporter.write_line(f"{report.nodeid.split('::')[-1]}: {name}: {value}")


@pytest.fixture
def servers():
    """Three servers that answer every question for an address with their own last number."""
    with FakeServer("127.0.9.1") as first, FakeServer("127.0.9.2") as second, FakeServer("127.0.9.3") as third:
        yield first, second, third


@pytest.fixture
def program(servers):
    with Program([server.address for server in servers]) as running:
        yield running


def pytest_collection_modifyitems(config, items):
    left_out_on_macos.leave_out(config, items)
    for item in items:
        item.add_marker(busy_machine.MARK)  # the program waits 1.4 seconds for a server
