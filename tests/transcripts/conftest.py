"""The tests that meet the real program do so in a network of their own. Needs root."""

import pytest

from harness import CannotTest, binary_path, enter, left_out_on_macos

NO_WAY_OUT = "only a network of the tests' own has no way out"


@pytest.fixture(scope="session")
def private_network():
    try:
        binary_path()
        enter()
    except CannotTest as error:
        pytest.fail(str(error), pytrace=False)


def pytest_collection_modifyitems(config, items):
    scenarios = ("failed_sends", "unreachable_server")
    left_out_on_macos.leave_out(config, items, {f"play_on_program-{name}": NO_WAY_OUT for name in scenarios})
