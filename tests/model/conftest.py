"""The tests that meet the real program do so in a network of their own. Needs root."""

import pytest

from harness import CannotTest, binary_path, enter


@pytest.fixture(scope="session")
def private_network():
    try:
        binary_path()
        enter()
    except CannotTest as error:
        pytest.fail(str(error), pytrace=False)


def pytest_terminal_summary(terminalreporter):
    """What the differential runs say of themselves: the fresh seed is the only part that is not in the files."""
    for report in terminalreporter.stats.get("passed", []):
        for name, value in report.user_properties:
            if name == "printed":
                terminalreporter.write(value)
