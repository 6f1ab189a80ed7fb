"""Runs the whole session in a network and a file tree of its own. Needs root."""

import os
import pathlib
import sys

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
os.environ.setdefault("DNS_PROXY_DEADLINE", "30")  # a browser and a database take longer than an answer

import harness  # noqa: E402  (found through the line above)

import page  # noqa: E402

STATUS_WHEN_IMPOSSIBLE = 2


def pytest_configure(config):
    try:
        harness.binary_path()
        page.page_path()
        harness.enter()
    except harness.CannotTest as error:
        pytest.exit(str(error), returncode=STATUS_WHEN_IMPOSSIBLE)


@pytest.fixture
def folder(tmp_path):
    return tmp_path
