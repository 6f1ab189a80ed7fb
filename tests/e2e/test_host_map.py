"""Which names a host map entry answers."""

import pytest

from harness import Application, Proxy
from host_map_questions import expect_host_map_answer, expect_no_such_name


def test_first_of_two_lines_for_a_domain_wins():
    with Proxy(hostmap=b"a.example:10.0.0.1\na.example:10.0.0.2\n") as proxy, Application() as app:
        proxy.expect_started()
        expect_host_map_answer(proxy, app, "a.example", 27, "10.0.0.1", "0A 00 00 01")


@pytest.mark.parametrize("entry", ["Intra.lan", "intra.lan.", "*.intra.lan", "lan", "host.intra.lan"])
def test_entry_that_is_not_the_lower_case_name_itself_is_never_found(entry):
    with Proxy(hostmap=f"{entry}:10.1.2.3\n".encode()) as proxy, Application() as app:
        proxy.expect_started()
        expect_no_such_name(proxy, app, "intra.lan", 27)


@pytest.mark.parametrize("name", ["intra.lan", "INTRA.lan", "iNtra.Lan"])
def test_lower_case_entry_answers_in_any_mix_of_cases(name):
    with Proxy(hostmap=b"intra.lan:10.1.2.3\n") as proxy, Application() as app:
        proxy.expect_started()
        expect_host_map_answer(proxy, app, name, 27, "10.1.2.3", "0A 01 02 03")
