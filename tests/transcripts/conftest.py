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
