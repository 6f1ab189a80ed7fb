"""What dns_proxy_ctl says comes to the page as it is, and nothing that it does harms the page."""

import os

import pytest

from harness import wait_until
from page import START, Page
from stand_in import StandIn, printing

STATUS = {"rows": [{"subject": "proxy", "words": "running", "well": True}], "well": True}
CHECK = {"findings": [], "servers": 1, "host_map_entries": 0, "errors": 0, "warnings": 0, "obstacles": 0}
HOSTILE = {"rows": [{"subject": "</script>", "words": "\u202e<b>\n\0'\"&amp;\\", "well": False}], "well": False}
OFTEN = "--companion-seconds=1"


@pytest.fixture(autouse=True)
def trace(folder):
    (folder / "trace").write_bytes(START)


def reports(page):
    now = page.get("/api/now")
    return now["status"], now["check"]


@pytest.mark.parametrize("status", [STATUS, HOSTILE])
def test_what_it_says_is_in_the_state(folder, status):
    with Page(folder, companion=printing(folder, status, CHECK).path) as page:
        wait_until(lambda: reports(page) == (status, CHECK), "the reports")


def test_it_is_not_run_while_nobody_looks(folder):
    stand_in = printing(folder, STATUS, CHECK)
    with Page(folder, OFTEN, companion=stand_in.path) as page:
        page.get("/api/totals", span="day")
        assert stand_in.runs() == []
        wait_until(lambda: reports(page) == (STATUS, CHECK), "the reports")


@pytest.mark.parametrize(
    "script",
    [
        "exit 1",
        "kill -9 $$",
        "echo no document",
        "printf '{\"rows\":[{\"subject\":'",
        "echo '\"a text\"'",
        "echo '[{\"subject\":\"proxy\"}]'",
        "head -c 100000 /dev/urandom",
        "head -c 1000000 /dev/zero | tr '\\0' '['",
        "head -c 1000000 /dev/zero | tr '\\0' 1",
        "yes '{\"a\":'",
        "exec yes",
        "exec >&-",
    ],
)
def test_what_is_no_report_is_nothing(folder, script):
    stand_in = StandIn(folder, script)
    with Page(folder, OFTEN, companion=stand_in.path) as page:
        stand_in.wait_for_both(page)
        assert reports(page) == (None, None)


def test_what_is_nested_deeply_is_left_out(folder):
    nested = "head -c 500000 /dev/zero | tr '\\0' '['"
    closed = "head -c 500000 /dev/zero | tr '\\0' ']'"
    stand_in = StandIn(folder, f"printf '{{\"a\":'; {nested}; {closed}; printf '}}'")
    with Page(folder, OFTEN, companion=stand_in.path) as page:
        stand_in.wait_for_both(page)
        status, check = reports(page)
        assert len(str(status)) < 100 and len(str(check)) < 100


def test_a_program_that_is_not_there_says_nothing(folder):
    with Page(folder, OFTEN, companion=folder / "nobody") as page:
        assert reports(page) == (None, None)
        page.wait_until_serving()


def test_long_lists_are_cut_and_the_rest_is_kept(folder):
    findings = [{"file": "hostmap", "line": at, "severity": "warning", "what": "w" * 80, "effect": "e" * 80} for at in range(9000)]
    check = {"findings": findings, "warnings": 9000}
    with Page(folder, companion=printing(folder, STATUS, check).path) as page:
        wait_until(lambda: reports(page)[1] is not None, "the report")
        assert reports(page)[1] == {"findings": findings[:50], "warnings": 9000}


def test_one_that_hangs_holds_nothing_up_and_ends_with_the_page(folder):
    stand_in = StandIn(folder, f"sleep 1000 & echo $! >{folder}/sleeper.new; mv {folder}/sleeper.new {folder}/sleeper; wait")
    with Page(folder, companion=stand_in.path) as page:
        assert reports(page) == (None, None)
        wait_until((folder / "sleeper").exists, "the companion to hang")
        page.wait_until_serving()
        assert reports(page) == (None, None)
    sleeper = int((folder / "sleeper").read_text())
    wait_until(lambda: not is_running(sleeper), "the end of what it has started")


def is_running(process):
    """Not gone, and not only waiting for somebody to take note of its end."""
    try:
        with open(f"/proc/{process}/stat", encoding="ascii") as stat:
            return stat.read().rsplit(") ", 1)[1][0] != "Z"
    except (FileNotFoundError, ProcessLookupError):
        return False


def test_its_reports_change_with_the_host(folder):
    stand_in = printing(folder, STATUS, CHECK)
    with Page(folder, OFTEN, companion=stand_in.path) as page:
        wait_until(lambda: reports(page) == (STATUS, CHECK), "the first reports")
        printing(folder, HOSTILE, CHECK)
        wait_until(lambda: reports(page) == (HOSTILE, CHECK), "the changed one")
        os.replace(folder / "status.json", folder / "away")
        wait_until(lambda: reports(page) == (None, CHECK), "that it says nothing more")
