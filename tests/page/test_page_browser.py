"""The page in a real browser, against what was sent through a real proxy."""

import pathlib
import time

import pytest
from selenium.webdriver.common.keys import Keys

import past
from browser import browser
from harness import deadline_seconds
from page import SERVER, SILENT_SERVER, START, Page, ask, proxy_tracing_into, query_for_bytes, servers

HOST_MAP = b"mail.example:10.0.0.1\n"
AXE = pathlib.Path(__file__).parent / "node_modules" / "axe-core" / "axe.min.js"
HOSTILE = [
    b"<script>document.title='owned'</script>.example",
    b"<img src=x onerror=alert(1)>.example",
    b"two\nlines.example",
    b"\xe2\x80\xaeright-to-left.example",
    b"quote\"'&amp;.example",
    b"=1+1.example",
    b"\xff\xfe\x01.example",
    b"a" * 1000,
]
SHOWN_HOSTILE = [
    "<script>document.title='owned'</script>.example",
    "<img src=x onerror=alert(1)>.example",
    "two\\010lines.example",
    "\\226\\128\\174right-to-left.example",
    "quote\"'&amp;.example",
    "=1+1.example",
    "\\255\\254\\001.example",
    ".".join(["a" * 63] * 15 + ["a" * 55]),
]


@pytest.fixture(scope="module")
def window():
    with browser() as window:
        yield window


def tiles(window):
    texts = window.script(
        "return Object.fromEntries([...document.querySelectorAll('#tiles dd')].map(e => [e.id.slice(5), e.textContent]))"
    )
    return {key: int(text.replace(",", "")) for key, text in texts.items()}


def rows(window):
    return window.script(
        "return [...document.querySelectorAll('#queries tbody tr')].map(r => [...r.cells].slice(1, 4).map(c => c.textContent))"
    )


def table_sums(window):
    """The columns of the plots' table, added up."""
    window.script("document.querySelector('#history-table').open = true")
    window.wait(lambda: window.all("#history-table tbody tr"), "the table")
    cells = window.script(
        "return [...document.querySelectorAll('#history-table tbody tr')].map(r => [...r.cells].slice(1, 5).map(c => c.textContent))"
    )
    return [sum(int(row[at].replace(",", "")) for row in cells) for at in range(4)]


def test_every_number_equals_what_was_sent(window, folder):
    dns = f"{SERVER}\n".encode()
    with servers(), proxy_tracing_into(folder / "trace", dns, HOST_MAP), Page(folder) as page:
        page.wait_until_serving()
        window.open(page.address())
        ask(*["mail.example"] * 7, *["www.example"] * 5, *["empty.example"] * 3, "9.9.9.9.in-addr.arpa")
        wanted = {"all": 16, "answered": 5, "host_map": 7, "no_such_name": 4, "lost": 0, "waiting": 0}
        window.wait(lambda: tiles(window) == wanted, wanted)
        window.wait(lambda: window.text("#log-note") == "16 queries", "the log's count")
        window.wait(lambda: len(rows(window)) == 16, "the log")
        assert window.text("#rate-number") == "16"
        assert [name for name, _, _ in rows(window)] == [
            "9.9.9.9.in-addr.arpa", *["empty.example"] * 3, *["www.example"] * 5, *["mail.example"] * 7
        ]
        server_row = window.texts("#servers tbody tr > *")
        assert [server_row[0], server_row[1], *server_row[4:]] == [SERVER, "alive", "8", "5", "3"]
        window.driver.refresh()
        window.wait(lambda: window.texts("#outcome-legend strong") == ["5", "7", "4", "0"], "the legend")
        assert table_sums(window) == [5, 7, 4, 0]
        window.wait(lambda: window.all("#names .name") and window.all("#drops li"), "the names and what was dropped")
        assert window.texts("#names .name") == ["mail.example", "www.example", "empty.example", "9.9.9.9.in-addr.arpa"]
        assert window.texts("#names .aside") == ["7", "5", "3", "1"]
        assert window.texts("#drops li")[0].startswith("nothing")


def test_a_query_is_on_the_page_within_a_second(window, folder):
    with servers(), proxy_tracing_into(folder / "trace", b"", HOST_MAP), Page(folder) as page:
        page.wait_until_serving()
        window.open(page.address())
        slowest = 0
        for number in range(1, 6):
            before = time.monotonic()
            ask("mail.example")
            window.wait(lambda wanted=number: len(rows(window)) == wanted, f"row {number}")
            slowest = max(slowest, time.monotonic() - before)
        print(f"slowest of five: {slowest:.3f} s")
        assert slowest < max(1.0, deadline_seconds() / 5)


def test_it_goes_on_when_page_and_proxy_are_restarted(window, folder):
    trace, dns = folder / "trace", f"{SILENT_SERVER}\n".encode()
    with servers():
        with proxy_tracing_into(trace, dns, HOST_MAP):
            with Page(folder) as page:
                window.open(page.address())
                ask("mail.example", "mail.example")
                ask("www.example", wants_answers=False)
                window.wait(lambda: tiles(window)["waiting"] == 1 and tiles(window)["host_map"] == 2, "the first counts")
                assert window.texts("#waiting .name") == ["www.example"]
                port = page.port
            window.wait(lambda: window.text("#state-words") == "Not connected", "the page to notice")
            ask("mail.example")
        with proxy_tracing_into(trace, f"{SERVER}\n".encode(), HOST_MAP):
            ask("www.example")
            with Page(folder, port=port):
                wanted = {"all": 5, "answered": 1, "host_map": 3, "no_such_name": 0, "lost": 1, "waiting": 0}
                window.wait(lambda: tiles(window) == wanted, wanted)
                window.wait(lambda: window.text("#state-words") == "Serving", "the state")
                window.wait(lambda: len(rows(window)) == 5, "the log")
                assert ["www.example", "lost", SILENT_SERVER] in rows(window)
                assert window.texts("#drops li") == ["query still waiting at the end of a run1"]


def test_hostile_names_are_shown_as_texts(window, folder):
    dns = f"{SERVER}\n".encode()
    with servers(), proxy_tracing_into(folder / "trace", dns, HOST_MAP), Page(folder) as page:
        ask(*(query_for_bytes(name) for name in HOSTILE))
        page.wait_for(answered=len(HOSTILE))
        window.complaints()
        window.open(page.address())
        window.wait(lambda: len(rows(window)) == len(HOSTILE), "the rows")
        assert [name for name, _, _ in reversed(rows(window))] == SHOWN_HOSTILE
        assert window.driver.title == "DNS proxy"
        assert window.all("#queries img, #queries script, #names img, #names script") == []
        for at, button in enumerate(reversed(window.all("#queries .link"))):
            window.script("arguments[0].click()", button)
            window.wait(lambda at=at: window.text("#details-name") == SHOWN_HOSTILE[at], SHOWN_HOSTILE[at])
            window.wait(lambda: window.script("return document.querySelector('#details').open"), "the dialog")
            window.script("document.querySelector('#details').close()")
        assert window.script("return document.documentElement.scrollWidth <= innerWidth")
        assert window.complaints() == []


def test_the_log_is_searched_filtered_and_paused(window, folder):
    dns = f"{SERVER}\n".encode()
    with servers(), proxy_tracing_into(folder / "trace", dns, HOST_MAP), Page(folder) as page:
        window.open(page.address())
        ask("mail.example", "www.example", "static.example", "empty.example")
        window.wait(lambda: len(rows(window)) == 4, "the rows")
        window.one("#filter-name").send_keys("Sta")
        window.wait(lambda: [name for name, _, _ in rows(window)] == ["static.example"], "the search")
        assert window.text("#log-note") == "1 query"
        ask("static.example", "mail.example")
        window.wait(lambda: [name for name, _, _ in rows(window)] == ["static.example"] * 2, "a live row that fits")
        assert window.one("#csv").get_attribute("href").endswith("/api/queries.csv?name=sta")
        window.script("document.querySelector('#filter-name').value = ''")
        window.script("document.querySelector('#filter-outcome').value = 'host_map'")
        window.script("document.querySelector('#filters').dispatchEvent(new Event('input'))")
        window.wait(lambda: [outcome for _, outcome, _ in rows(window)] == ["host map"] * 2, "the outcome")
        window.one("#pause").click()
        ask("mail.example", "www.example")
        window.wait(lambda: window.text("#log-note") == "2 queries, paused; 1 more since", "the note")
        assert len(rows(window)) == 2
        window.one("#pause").click()
        window.wait(lambda: len(rows(window)) == 3, "what came in the pause")
        window.script("document.querySelector('#filter-outcome').value = ''")
        window.script(f"document.querySelector('#filter-server').value = '{SERVER}'")
        window.script("document.querySelector('#filters').dispatchEvent(new Event('input'))")
        window.wait(lambda: {server for _, _, server in rows(window)} == {SERVER}, "the server")
        assert len(rows(window)) == 4


def test_what_comes_before_the_answer_to_an_earlier_question_is_not_lost(window, folder):
    """The log's list was asked for before the query came, and its answer is taken behind it."""
    hold = """
        const fetched = window.fetch;
        window.released = new Promise((release) => window.release = release);
        window.fetch = async (...asked) => {
          const answer = await fetched(...asked);
          if (String(asked[0]).startsWith('/api/queries?')) { window.holds = true; await window.released; }
          return answer;
        };
        document.querySelector('#filters').dispatchEvent(new Event('input'));
    """
    with servers(), proxy_tracing_into(folder / "trace", b"", HOST_MAP), Page(folder) as page:
        page.wait_until_serving()
        window.open(page.address())
        ask("mail.example")
        window.wait(lambda: len(rows(window)) == 1, "the row")
        window.script(hold)
        window.wait(lambda: window.script("return window.holds"), "the answer")
        ask("mail.example", "9.9.9.9.in-addr.arpa")
        window.wait(lambda: len(rows(window)) == 3, "the later rows")
        window.script("window.release()")
        window.wait(lambda: window.text("#log-note") == "3 queries", "the count")
        assert [name for name, _, _ in rows(window)] == ["9.9.9.9.in-addr.arpa", "mail.example", "mail.example"]


def test_a_name_tells_why(window, folder):
    dns = f"{SERVER}\n".encode()
    with servers(), proxy_tracing_into(folder / "trace", dns, HOST_MAP), Page(folder) as page:
        window.open(page.address())
        ask("mail.example")
        window.wait(lambda: window.all("#queries .link"), "the row")
        window.one("#queries .link").send_keys(Keys.ENTER)
        window.wait(lambda: window.text("#details-why") == "The host map has this name.", "the reason")
        assert window.text("#details-line") == "mail.example:10.0.0.1"
        trace = window.text("#details-trace").split("\n")
        assert trace[-1].endswith("find mail.example from hostmap, ip:10.0.0.1, req id:0")
        assert len(trace) == 9
        window.one("#details-close").send_keys(Keys.ENTER)
        assert not window.script("return document.querySelector('#details').open")


def test_values_are_told_by_pointer_and_keys(window, folder):
    past.make(folder / "memory.db", days=30)
    (folder / "trace").write_bytes(START)
    with Page(folder) as page:
        window.open(page.address())
        for span, words in (("hour", 60), ("week", 168), ("year", 366), ("day", 144)):
            window.script(f"document.querySelector('[value={span}]').click()")
            window.wait(lambda wanted=span: page_span(window) == wanted, span)
            totals = page.get("/api/totals", span=span)
            assert totals["slots"] == words
            last = totals["outcomes"]["answered"][-1]
            window.one("#outcome-plot svg").send_keys(Keys.ARROW_RIGHT)
            assert f"answered {last:,}," in window.text("#outcome-value")
            window.one("#time-plot svg").send_keys(Keys.ARROW_LEFT)
            assert "192.0.2.1" in window.text("#time-value")
            window.script("document.activeElement.blur()")


def page_span(window):
    names = {"hour": "the last hour", "day": "the last day", "week": "the last week", "year": "the last year"}
    label = window.script("return document.querySelector('#outcome-plot svg')?.getAttribute('aria-label') ?? ''")
    return next((span for span, words in names.items() if words in label), None)


def test_nothing_is_loaded_from_elsewhere(window, folder):
    (folder / "trace").write_bytes(START)
    with Page(folder) as page:
        window.complaints()
        window.open(page.address())
        window.wait(lambda: window.all("#outcome-plot svg"), "the plot")
        loaded = window.script("return performance.getEntriesByType('resource').map(e => e.name)")
        assert loaded and all(name.startswith(page.address()) for name in loaded)
        assert window.complaints() == []
        made = "try { document.body.innerHTML = '<b>made</b>'; return 'made' } catch (error) { return error.name }"
        assert window.script(made) == "TypeError"


@pytest.mark.parametrize("theme", ["light", "dark"])
@pytest.mark.parametrize("width", [1360, 390])
def test_the_accessibility_checker_finds_nothing(folder, theme, width):
    past.make(folder / "memory.db", days=2)
    dns = f"{SERVER}\n{SILENT_SERVER}\n".encode()
    with servers(), proxy_tracing_into(folder / "trace", dns, HOST_MAP), Page(folder) as page:
        ask("mail.example", "www.example", "9.9.9.9.in-addr.arpa")
        ask("empty.example", wants_answers=False)
        page.wait_for_at_least(waiting=1)
        with browser(width, 1000, theme) as window:
            window.open(page.address())
            window.wait(lambda: len(rows(window)) == 3 and window.all("#names li"), "the rows")
            window.script("document.querySelector('#history-table').open = true")
            window.wait(lambda: window.all("#history-table tbody tr"), "the table")
            assert findings(window) == []
            window.script("document.querySelector('#queries .link').click()")
            window.wait(lambda: window.script("return document.querySelector('#details').open"), "the dialog")
            assert findings(window) == []
            assert window.script("return document.documentElement.scrollWidth <= innerWidth")


def findings(window):
    window.script(AXE.read_text(encoding="utf-8"))
    found = window.driver.execute_async_script(
        "const done = arguments[arguments.length - 1];"
        "axe.run(document, {resultTypes: ['violations']}).then(r => done(r.violations), e => done([String(e)]))"
    )
    return [
        (one["id"], [node["html"] + " " + node.get("failureSummary", "") for node in one["nodes"]])
        if isinstance(one, dict) else one
        for one in found
    ]
