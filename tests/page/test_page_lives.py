"""The database against the model's truth: random lives of the proxy, the page ended at random moments."""

import os
import random

import pytest

import lives
from harness import wait_until
from lives import ToldRun, Truth, assert_holds, long_life, runs, texts
from page import Page

REPLAYED = 12


def fresh_seed():
    """Another one in every run, and the same in all processes of one."""
    run = os.environ.get("PYTEST_XDIST_TESTRUNUID") or str(random.SystemRandom().random())
    return random.Random(run).randrange(1 << 32)


class Player:
    """Writes a trace bit by bit, with a page that comes and goes."""

    def __init__(self, folder, source):
        self.folder, self.source = folder, source
        self.trace = folder / "trace"
        self.trace.touch()
        self.page = None

    def add(self, text, most=5000):
        at = 0
        while at < len(text):
            size = self.source.randrange(1, most)
            with open(self.trace, "ab") as output:
                output.write(text[at : at + size])
            at += size
            self.change_page()

    def change_page(self):
        chance = self.source.random()
        if self.page is None:
            if chance < 0.5:
                self.page = Page(self.folder)
        elif chance < 0.3:
            self.page.get("/api/names")  # which has all that was seen written
        elif chance < 0.6:
            self.end_page()

    def end_page(self):
        if self.source.random() < 0.7:
            self.page.kill()
        else:
            self.page.end()
        self.page = None

    def renew_file(self):
        """As the service does before a start. The page has begun to read the old file, and finds the rest."""
        if self.page is None:
            self.page = Page(self.folder)
        wait_until(lambda: self.page.get("/api/now")["trace"]["lines"] > 0, "the first line")
        self.page.get("/api/names")
        self.change_page()
        self.put_aside()

    def put_aside(self):
        self.trace.rename(self.folder / f"trace.{self.source.random()}")
        self.trace.touch()

    def finish(self, truth):
        """Until all is seen; then the page ends in order. What could still be read in two ways is decided at the
        end of a file."""
        if self.page is not None:
            self.end_page()
        drops = {str(reason): truth.drops[reason] for reason in range(10)}
        seen = {}

        def is_there():
            now = page.get("/api/now")
            seen["outcomes"] = {**now["day"], "waiting": now["waiting_count"]}
            seen["drops"] = {str(at): drop["count"] for at, drop in enumerate(now["drops"])}
            return seen == {"outcomes": truth.outcomes(), "drops": drops}

        with Page(self.folder) as page:
            wait_until(lambda: page.get("/api/now")["trace"]["read"], "the trace")
            self.put_aside()
            try:
                wait_until(is_there, "the truth")
            except AssertionError as error:
                raise AssertionError(f"{error}: {truth.outcomes()}, {drops}; it is {seen}") from None
        assert page.errors == ""


@pytest.mark.parametrize("seed", [*range(1, REPLAYED), 1812227888, fresh_seed()])
def test_every_query_and_count_is_the_truth_however_often_the_page_has_ended(folder, seed):
    source = random.Random(seed)
    traces, truth = runs(source)
    player = Player(folder, source)
    for number, trace in enumerate(traces):
        player.add(trace)
        if trace and number == seed % 5:
            player.renew_file()
    player.finish(truth)
    assert_holds(folder / "memory.db", truth)


def test_ids_that_come_round_while_earlier_queries_wait_are_told_apart(folder):
    with long_life():
        run = ToldRun(random.Random(900), 190_000, hostile=False, ends=False)
        trace = b"".join(line.printed for line in run.lines)
        truth = Truth()
        truth.add_run(run.lines, len(trace))
    assert truth.drops[lives.ID_STILL_WAITING] > 0
    player = Player(folder, random.Random(1))
    player.add(trace, most=len(trace) // 5)
    player.finish(truth)
    assert_holds(folder / "memory.db", truth)


FIRST, SECOND = b"192.0.2.1", b"192.0.2.2"
TWO_SERVERS = (
    texts.READ_DNS % FIRST + texts.READ_DNS % SECOND
    + texts.SIZES % (2, 0)
    + texts.BIND_SUCCESS % (b"127.0.0.1", 53)
    + texts.ADD_SERVER % FIRST + texts.ADD_SERVER % SECOND
    + texts.ANSWER_THREAD_STARTED
    + texts.QUERY_THREAD_STARTED
)


def accepted(name, number):
    return (
        texts.QUERY_READABLE + texts.QUERY_RECEIVED % (40, b"127.0.0.1") + texts.QUESTION_COUNT % 1
        + texts.NAME_RECEIVED % name + texts.QUERY_ACCEPTED % (name, number)
    )


def asked(number, position):
    return texts.FALLBACK_CALLED % (number, 0) + texts.FALLBACK_POSITION % (position, 2) + texts.FALLBACK_METHOD % 0


def received(server):
    return texts.ANSWER_READABLE + texts.RESPONSE_RECEIVED % (60, server)


@pytest.mark.parametrize("pause", ["nothing", "written", "restarted"])
def test_a_query_that_was_called_lost_and_goes_on_is_corrected_in_its_row_and_in_the_totals(folder, pause):
    """The earlier query of its id had just been answered when it came, and the line that says so comes later."""
    beginning = TWO_SERVERS + accepted(b"first.example", 7) + asked(7, 0)
    beginning += received(FIRST) + texts.RESPONSE_WITHOUT_ANSWER % (FIRST, 7, b"first.example") + asked(7, 1)
    beginning += accepted(b"between.example", 6) + asked(6, 0)  # of the 65,535 queries until an id comes again
    beginning += received(SECOND) + accepted(b"second.example", 7) + texts.FALLBACK_CALLED % (7, 0)
    end = asked(7, 0).removeprefix(texts.FALLBACK_CALLED % (7, 0))
    end += texts.RELAYED % (b"first.example", 10, 0, 0, 1, SECOND, 7)
    end += received(FIRST) + texts.RELAYED % (b"second.example", 10, 0, 0, 2, FIRST, 7)

    trace = folder / "trace"
    trace.write_bytes(beginning)
    with Page(folder) as page:
        page.wait_for(waiting=2, lost=1)
        if pause != "nothing":
            assert [row["outcome"] for row in page.get("/api/queries")["queries"]] == ["lost"]
        if pause == "restarted":
            page.kill()
        else:
            assert_is_corrected(page, end)
    if pause == "restarted":
        with Page(folder) as page:
            assert_is_corrected(page, end)
    truth = Truth()
    first, second = FIRST.decode(), SECOND.decode()
    truth.queries = [
        ["first.example", lives.ANSWERED, [[first, lives.EMPTY], [second, lives.BY_ANSWER]]],
        ["second.example", lives.ANSWERED, [[first, lives.BY_ANSWER]]],
    ]
    assert_holds(folder / "memory.db", truth)


def assert_is_corrected(page, rest):
    with open(page.trace, "ab") as output:
        output.write(rest)
    page.wait_for(answered=2, waiting=1)
    assert not any(drop["count"] for drop in page.get("/api/now")["drops"])
