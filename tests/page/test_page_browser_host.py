"""What the page shows of this host, in a real browser: what dns_proxy_ctl says, whatever that is."""

import json
import subprocess

import pytest

from browser import browser
from page import SERVER, START, Page, ask, companion_path, filed, proxy_tracing_into, servers
from stand_in import StandIn, printing

HOST_MAP = b"mail.example:10.0.0.1\nno address here\n"
HOSTILE = "\u202e<img src=x onerror=\"document.title='owned'\">\n\0'\"&amp;\\"
OFTEN = "--companion-seconds=1"


@pytest.fixture(scope="module")
def window():
    with browser() as window:
        yield window


def facts(window):
    return dict(window.script(
        "return [...document.querySelectorAll('#host > div')].map(e => [e.children[0].textContent, e.querySelector('dd span').textContent])"
    ))


def complaints(window):
    """The subjects that are marked as not well."""
    return window.script(
        "return [...document.querySelectorAll('#host > div')].filter(e => e.querySelector('.badge').checkVisibility())"
        ".map(e => e.children[0].textContent)"
    )


def said_by_companion(command):
    said = subprocess.run([companion_path(), command, "--json"], stdout=subprocess.PIPE, check=False)
    return json.loads(said.stdout)


def test_what_the_companion_says_of_this_host_is_shown(window, folder):
    dns = f"{SERVER}\n".encode()
    with servers(), proxy_tracing_into(folder / "trace", dns, HOST_MAP), Page(folder, OFTEN, companion=companion_path()) as page:
        window.open(page.address())
        # A server that is slow for once has a row more.
        rows = lambda: said_by_companion("status")["rows"]  # noqa: E731
        window.wait(lambda: list(facts(window)) == [row["subject"] for row in rows()], "the companion's report")
        rows, findings = rows(), said_by_companion("check")["findings"]
        shown = facts(window)
        lasting = [row for row in rows if row["subject"] in ("127.0.0.1:53", "resolver", "host map", "check")]
        for row in lasting:
            assert shown[row["subject"]] == row["words"]
            assert (row["subject"] in complaints(window)) == (not row["well"])
        assert len(lasting) == 4
        assert findings and window.texts("#findings li") == [
            f"{one['severity']}{one['file']}:{one['line']}: {one['what']} → {one['effect']}" for one in findings
        ]


def test_hostile_texts_of_the_companion_are_shown_as_texts(window, folder):
    row = {"subject": HOSTILE, "words": HOSTILE, "well": False}
    finding = {"file": HOSTILE, "line": "1", "severity": HOSTILE, "what": HOSTILE, "effect": HOSTILE}
    odd = [None, 1, "text", [], {}, {"subject": {"a": 1}, "words": None}]
    status = {"rows": [row, row, *odd]}
    check = {"findings": [finding, finding, *odd], "errors": "many", "warnings": None}
    (folder / "trace").write_bytes(START)
    with Page(folder, OFTEN, companion=printing(folder, status, check).path) as page:
        window.complaints()
        window.open(page.address())
        window.wait(lambda: window.all("#findings li"), "the report")
        assert window.texts("#host dt")[:2] == [HOSTILE] * 2
        assert window.texts("#findings li")[0] == f"{HOSTILE}{HOSTILE}:1: {HOSTILE} → {HOSTILE}"
        assert complaints(window) == [HOSTILE] * 2
        assert window.all("#host img, #findings img") == []
        count = len(window.all("#host > div, #findings li"))
        with open(folder / "trace", "ab") as trace:
            trace.write(filed("later.example", 1))
        window.wait(lambda: window.text("#tile-host_map") == "1", "a later event")
        assert len(window.all("#host > div, #findings li")) == count
        assert window.text("#memory").startswith("Totals are kept for 400 days")
        assert window.driver.title == "DNS proxy"
        assert window.complaints() == []


@pytest.mark.parametrize("script", ["exit 1", "echo '{\"rows\":7,\"findings\":\"x\"}'", "sleep 1000", "head -c 10000 /dev/urandom"])
def test_a_companion_that_says_nothing_leaves_the_rest_of_the_page_as_it_is(window, folder, script):
    dns = f"{SERVER}\n".encode()
    stand_in = StandIn(folder, script)
    with servers(), proxy_tracing_into(folder / "trace", dns, HOST_MAP), Page(folder, OFTEN, companion=stand_in.path) as page:
        window.open(page.address())
        window.wait(lambda: stand_in.runs(), "the companion's run")
        ask("mail.example", "www.example")
        window.wait(lambda: window.text("#tile-answered") == "1" and window.text("#tile-host_map") == "1", "the counts")
        assert facts(window) == {"dns_proxy_ctl": "says nothing, or is not there"}
        assert window.texts("#findings li") == []
