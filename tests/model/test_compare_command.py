"""Bad input to the comparison's command ends in one sentence and a status that is not zero."""

import os
import pathlib
import subprocess

import pytest

from model.compare import numbers, ranges

COMMAND = str(pathlib.Path(__file__).with_name("compare.py"))
PYTHON = "/usr/bin/python3"
WITHOUT_NAMESPACES = ["setpriv", "--bounding-set", "-sys_admin", "--inh-caps", "-all", "--"]


def run(*arguments, wrapper=(), **environment):
    finished = subprocess.run(
        [*wrapper, PYTHON, COMMAND, *arguments],
        env={**os.environ, **environment},
        capture_output=True,
        text=True,
        check=False,
    )
    return finished.returncode, finished.stdout, finished.stderr


@pytest.mark.parametrize(
    "arguments, sentence",
    [
        (["--seeds", "x"], "argument --seeds: numbers and ranges such as 0-3,7 are needed, not 'x'"),
        (["--seeds", "-1"], "argument --seeds: numbers and ranges such as 0-3,7 are needed, not '-1'"),
        (["--seeds", ""], "argument --seeds: numbers and ranges such as 0-3,7 are needed, not ''"),
        (["--seeds", "1-"], "argument --seeds: numbers and ranges such as 0-3,7 are needed, not '1-'"),
        (
            ["--seeds", "0-99999999999"],
            "argument --seeds: more than 1000000 numbers at a time are too many: '0-99999999999'",
        ),
        (["--seeds", "3-1"], "argument --seeds: numbers and ranges such as 0-3,7 are needed, not '3-1'"),
        (["--steps", "0"], "argument --steps: a number from 1 on is needed, not '0'"),
        (["--seeds", "1", "--life", "x"], "argument --life: a number from 0 on is needed, not 'x'"),
        (["--life", "2"], "--life needs exactly one seed in --seeds"),
        (["--life", "2", "--seeds", "1,2"], "--life needs exactly one seed in --seeds"),
        (["--keep", "2"], "--keep needs --life"),
        (["--unknown"], "unrecognized arguments: --unknown"),
    ],
)
def test_bad_arguments(arguments, sentence):
    assert run(*arguments) == (2, "", f"compare.py: {sentence}.\n")


def test_a_replay_command_names_ranges():
    assert ranges([0, 1, 2, 3, 7, 9, 10]) == "0-3,7,9-10"
    assert numbers("0-3,7,9-10") == [0, 1, 2, 3, 7, 9, 10]


def test_steps_that_a_life_does_not_have():
    status, printed, sentence = run("--seeds", "1", "--life", "0", "--keep", "99999")
    assert (status, printed) == (2, "")
    assert sentence.startswith("compare.py: --keep takes ascending step numbers below ")
    assert sentence.count("\n") == 1


def test_a_missing_program():
    status, printed, sentence = run(DNS_PROXY_BINARY="/nonexistent/dns_proxy_mac")
    assert (status, printed) == (2, "")
    assert sentence == (
        "There is no program at /nonexistent/dns_proxy_mac: build it, or name another in DNS_PROXY_BINARY.\n"
    )


def test_no_permission_for_namespaces(private_network):
    status, printed, sentence = run("--seeds", "1", wrapper=WITHOUT_NAMESPACES)
    assert (status, printed) == (2, "")
    assert sentence.startswith("A network and mount namespace is needed for these tests: unshare")
    assert sentence.count("\n") == 1


def test_a_program_that_does_something_else(private_network):
    status, printed, _ = run("--seeds", "1", "--life", "0", "--binary", "/bin/true")
    assert status == 1
    assert "seed 1, life 0 differs at start: the trace differs" in printed
    replay = "tests/model/compare.py --binary /bin/true --seeds 1 --life 0 --keep none\n"
    assert f"shortest failing beginning: 0 steps: {replay}" in printed
    assert printed.endswith(f"replay: {replay}")


def test_a_replay_of_no_step_at_all(private_network):
    arguments = ("--seeds", "1", "--life", "0", "--keep", "none")
    assert run(*arguments) == (0, "0 steps, no difference\n", "")
    assert run(*arguments, "--binary", "/bin/true")[0] == 1


def test_an_empty_name_of_the_program():
    assert run("--binary", "") == (
        2,
        "",
        "There is no program at .: build it, or name another in DNS_PROXY_BINARY.\n",
    )
