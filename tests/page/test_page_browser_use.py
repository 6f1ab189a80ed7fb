"""The page as people use it: by pointer, by keys alone, in the colours that they want, while it is live."""

import time

import pytest
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

import past
from browser import browser
from page import SERVER, SILENT_SERVER, START, Page, ask, filed, proxy_tracing_into, servers

HOST_MAP = b"mail.example:10.0.0.1\n"
WORDS = {"answered": "answered", "host_map": "host map", "no_such_name": "no such name", "lost": "lost"}
FOCUSED = """
    const at = document.activeElement;
    return at === document.body ? '' : (at.id || at.href || at.getAttribute('aria-label') || at.value || at.textContent);
"""


@pytest.fixture(scope="module")
def window():
    with browser() as window:
        yield window


def press(window, *keys):
    ActionChains(window.driver).send_keys(*keys).perform()


def add(page, *names, first=0):
    with open(page.trace, "ab") as trace:
        trace.write(b"".join(filed(name, first + at) for at, name in enumerate(names)))


def told_of_slots(totals):
    """What is told of each of the times, but for the first and the last: they go on with the clock."""
    outcomes, texts = totals["outcomes"], []
    for at in range(1, totals["slots"] - 1):
        begin = time.strftime("%H:%M", time.localtime(totals["first"] + at * totals["width"]))
        counts = [f"{words} {outcomes[key][at]:,}" for key, words in WORDS.items()]
        texts.append(f"{begin}: {', '.join(counts)}")
    return texts


def test_the_value_under_the_pointer_is_told(window, folder):
    past.make(folder / "memory.db", days=30)
    (folder / "trace").write_bytes(START)
    with Page(folder) as page:
        window.open(page.address())
        window.wait(lambda: window.all("#outcome-plot path") and window.all("#time-plot path"), "the plots")
        totals = page.get("/api/totals", span="day")
        for plot, told in (("#outcome-plot svg", "#outcome-value"), ("#time-plot svg", "#time-value")):
            window.script("document.querySelector(arguments[0]).scrollIntoView({block: 'center'})", plot)
            assert window.text(told).strip() == ""
            ActionChains(window.driver).move_to_element(window.one(plot)).perform()
            window.wait(lambda told=told: window.text(told).strip() != "", told)
        ActionChains(window.driver).move_to_element(window.one("#outcome-plot svg")).perform()
        window.wait(lambda: window.text("#outcome-value") in told_of_slots(totals), "the counts of a time")
        ActionChains(window.driver).move_to_element(window.one("h1")).perform()
        window.wait(lambda: window.text("#outcome-value").strip() == "", "no value without a pointer")


def test_everything_is_reached_and_done_by_keys_alone(window, folder):
    (folder / "trace").write_bytes(START)
    with Page(folder) as page:
        add(page, "mail.example", "www.example")
        page.wait_for(host_map=2)
        window.open(page.address())
        window.wait(lambda: len(window.all("#queries .link")) == 2 and len(window.all("#names .link")) == 2, "the rows")
        reached = []
        for _ in range(40):
            press(window, Keys.TAB)
            focused = window.script(FOCUSED)
            if not focused:
                break
            outline = window.script("return getComputedStyle(document.activeElement).outlineStyle")
            assert outline != "none" or focused == "day", focused  # the circle of a choice is hidden: its words are outlined
            reached.append(focused)
        assert reached[:2] == [f"{page.address()}#log", "theme"]
        for control in ("Servers", "day", "filter-name", "filter-outcome", "filter-server", "pause", "csv", "json", "Queries"):
            assert control in reached
        assert reached.count("www.example") == reached.count("mail.example") == 2

        window.script("document.querySelector('#filter-name').focus()")
        press(window, "www")
        window.wait(lambda: window.texts("#queries .name") == ["www.example"], "the search")
        window.script("document.querySelector('#queries .link').focus()")
        press(window, Keys.ENTER)
        window.wait(lambda: window.script("return document.querySelector('#details').open"), "the dialog")
        press(window, Keys.ESCAPE)
        window.wait(lambda: not window.script("return document.querySelector('#details').open"), "its end")
        assert window.script(FOCUSED) == "www.example"


def test_a_screen_reader_is_told_the_state_and_the_numbers_of_the_log(window, folder):
    (folder / "trace").write_bytes(START)
    with Page(folder) as page:
        window.open(page.address())
        window.wait(lambda: window.text("#state-words") == "Serving", "the state")
        assert window.one("#state").get_attribute("role") == window.one("#log-note").get_attribute("role") == "status"
        named = "return [...document.querySelectorAll('svg[role=img], section, table th')].filter(e => !e.ariaLabel && !e.textContent).length"
        window.wait(lambda: window.all("#outcome-plot svg"), "the plot")
        assert window.script(named) == 0
        assert window.one("#outcome-plot svg").get_attribute("aria-label").endswith("The values are in the table below.")


def test_a_row_that_is_there_is_not_drawn_again(window, folder):
    (folder / "trace").write_bytes(START)
    with Page(folder) as page:
        add(page, "mail.example", "www.example")
        page.wait_for(host_map=2)
        window.open(page.address())
        window.wait(lambda: len(window.all("#queries .link")) == 2 and len(window.all("#names .link")) == 2, "the rows")
        window.script("""
            window.changed = [];
            new MutationObserver((all) => window.changed.push(...all.flatMap((one) => [...one.removedNodes])
              .filter((node) => node.nodeType === 1).map((node) => node.outerHTML)))
              .observe(document.querySelector('main'), {childList: true, subtree: true});
        """)
        add(page, *["later.example"] * 5, first=2)
        window.wait(lambda: len(window.all("#queries .link")) == 7, "the later rows")
        window.wait(lambda: window.text("#tile-host_map") == "7", "the count")
        removed = [text for text in window.script("return window.changed") if "plot" not in text and "<svg" not in text]
        assert [text for text in removed if "example" in text and "<tr" in text] == []
        assert [text for text in removed if "tile" in text] == []


def test_a_silent_server_is_called_so(window, folder):
    dns = f"{SILENT_SERVER}\n{SERVER}\n".encode()
    with servers(), proxy_tracing_into(folder / "trace", dns, HOST_MAP), Page(folder) as page:
        window.open(page.address())
        ask("www.example", wants_answers=False)
        window.wait(lambda: any(text.startswith("silent for ") for text in window.texts("#servers .badge")), "the silence")
        rows = window.script("return [...document.querySelectorAll('#servers tbody tr')].map(r => r.cells[0].textContent)")
        assert rows == [SILENT_SERVER, SERVER]
        assert window.texts("#servers .badge")[1] == "not asked yet"
        assert window.texts("#waiting .name") == ["www.example"]


@pytest.mark.parametrize("hours, log, footer", [
    (24, "kept for 24 hours, then forgotten", "Totals are kept for 400 days; single queries for 24 hours; 64 MB at most."),
    (2, "kept for 2 hours, then forgotten", "Totals are kept for 400 days; single queries for 2 hours; 64 MB at most."),
    (0, "single queries are not kept", "Totals are kept for 400 days; single queries are not kept; 64 MB at most."),
])
def test_it_says_how_long_names_are_kept(window, folder, hours, log, footer):
    (folder / "trace").write_bytes(START)
    with Page(folder, f"--query-hours={hours}") as page:
        window.open(page.address())
        assert (window.text("#kept"), window.text("#memory")) == (log, footer)


def test_what_is_saved_is_what_the_filter_shows(window, folder):
    (folder / "trace").write_bytes(START)
    with Page(folder) as page:
        add(page, "mail.example", "www.example", "WWW.Other.example")
        page.wait_for(host_map=3)
        window.open(page.address())
        window.one("#filter-name").send_keys("www")
        window.wait(lambda: window.texts("#queries .name") == ["WWW.Other.example", "www.example"], "the search")
        add(page, "Www.third.example", first=3)
        window.wait(lambda: len(window.all("#queries .name")) == 3, "a live row that fits")
        saved = "return fetch(document.querySelector(arguments[0]).href).then((answer) => answer.text())"
        lines = window.script(saved, "#csv").split("\r\n")
        assert [line.split(",")[1] for line in lines[1:-1]] == ['"Www.third.example"', '"WWW.Other.example"', '"www.example"']
        assert window.script(saved, "#json").count('"outcome":"host_map"') == 3
        assert window.one("#csv").get_attribute("download") is not None


def test_the_colours_are_the_system_s_or_those_chosen_and_stay_so(window, folder):
    (folder / "trace").write_bytes(START)
    with Page(folder) as page:
        window.open(page.address())
        paper = "return getComputedStyle(document.body).backgroundColor"
        light = window.script(paper)
        window.one("#theme").click()
        assert (window.text("#theme"), window.script(paper)) == ("Theme: light", light)
        window.one("#theme").click()
        dark = window.script(paper)
        assert window.text("#theme") == "Theme: dark" and dark != light
        window.driver.refresh()
        window.wait(lambda: window.text("#theme") == "Theme: dark" and window.script(paper) == dark, "the theme")
        window.one("#theme").click()
        assert (window.text("#theme"), window.script(paper)) == ("Theme: system", light)
