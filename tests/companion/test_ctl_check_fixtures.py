"""What `check` says about each pair of files in fixtures/: good, warn and bad ones.

Every folder holds the two files and `verdict`, what is printed about them to the last byte. That
the proxy really does what a verdict says is shown by test_ctl_check_proofs.py.
"""

import json

import pytest

import ctl

STATUS = {"good": 0, "warn": 0, "bad": 2}
STRICT_STATUS = {"good": 0, "warn": 1, "bad": 2}
FIXTURES = sorted(path.parent for path in ctl.FIXTURES.glob("*/*/verdict"))
NAMES = [f"{path.parent.name}/{path.name}" for path in FIXTURES]


def check(folder, *arguments):
    with ctl.listening_everywhere():
        return ctl.run("check", "--dns", "dns", "--hostmap", "hostmap", *arguments, cwd=folder)


@pytest.mark.parametrize("folder", FIXTURES, ids=NAMES)
def test_verdict(folder):
    result = check(folder)
    assert result.stdout == (folder / "verdict").read_text()
    assert result.stderr == ""
    assert result.returncode == STATUS[folder.parent.name]


@pytest.mark.parametrize("folder", FIXTURES, ids=NAMES)
def test_strict_makes_a_warning_a_status_of_its_own(folder):
    result = check(folder, "--strict")
    assert result.stdout == (folder / "verdict").read_text()
    assert result.returncode == STRICT_STATUS[folder.parent.name]


@pytest.mark.parametrize("folder", FIXTURES, ids=NAMES)
def test_json_holds_the_same(folder):
    result = check(folder, "--json")
    report = json.loads(result.stdout)
    lines = [
        f"{finding['file']}:{finding['line']}: {finding['severity']}: {finding['what']} -> {finding['effect']}"
        for finding in report["findings"]
    ]
    assert lines == (folder / "verdict").read_text().splitlines()[:-1]
    assert report["errors"] == sum(": error: " in line for line in lines)
    assert report["warnings"] == sum(": warning: " in line for line in lines)
    assert result.returncode == STATUS[folder.parent.name]


def test_every_kind_of_fixture_is_there():
    assert {path.parent.name for path in FIXTURES} == {"good", "warn", "bad"}
