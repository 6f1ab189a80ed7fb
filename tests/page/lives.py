"""Random lives of the proxy as its trace shows them, and what the database must hold of them."""

import contextlib
import pathlib
import sqlite3
import sys
from collections import Counter

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "companion"))

from model import trace_texts as texts  # noqa: E402  (found through the paths of the tests)
from trace_lives import Run, long_life  # noqa: E402
from trace_truth import is_of_hostile_name  # noqa: E402

HOST_MAP, ANSWERED, NO_SUCH_NAME, LOST = range(4)
WAITING = None
BY_ANSWER, EMPTY, SILENT, NOT_SENT = range(4)
SERVER_SERIES, ASKED_SERIES, EMPTY_SERIES, DROP_SERIES = 4, 5, 6, 16
ID_STILL_WAITING, LOST_AT_END = 3, 9
DROPS = {
    texts.QUERY_TOO_SHORT: 0,
    texts.QUESTION_COUNT_INVALID: 1,
    texts.NAME_EMPTY: 2,
    texts.FORWARD_FAILED: 4,
    texts.HOST_MAP_SEND_FAILED: 5,
    texts.NO_SUCH_NAME_SEND_FAILED: 5,
    texts.RELAY_SEND_FAILED: 5,
    texts.RESPONSE_TOO_SHORT: 6,
    texts.RESPONSE_UNKNOWN: 7,
    texts.RESPONSE_WRONG_SOURCE: 8,
}
ENDS = {texts.HOST_MAP_HIT: HOST_MAP, texts.RELAYED: ANSWERED, texts.NO_MORE_METHODS: NO_SUCH_NAME, texts.FORWARD_FAILED: LOST}
REACTIONS = {texts.RELAYED: BY_ANSWER, texts.RESPONSE_WITHOUT_ANSWER: EMPTY, texts.FORWARD_FAILED: NOT_SENT}


class ToldRun(Run):
    """A run whose lines also tell which server was asked, and which query had no answer."""

    def annotate(self, line, values):
        super().annotate(line, values)
        if line.text == texts.FALLBACK_METHOD:
            request = self.proxy.requests.find(self._current)
            line.server = request.methods[request.method_index].address
        elif line.text == texts.RESPONSE_WITHOUT_ANSWER:
            line.serial = self.proxy.requests.find(values[1]).serial


def shown(name):
    """A name as it may be shown anywhere."""
    out, after_number = "", False
    for byte in name:
        is_plain = 0x20 <= byte < 0x7F and not (after_number and chr(byte).isdigit())
        out += ("\\\\" if byte == 0x5C else chr(byte)) if is_plain else f"\\{byte:03}"
        after_number = not is_plain
    return out


class Truth:
    """What must be remembered of a trace."""

    def __init__(self):
        self.queries = []  # [name, outcome, [[server, reaction]...]]
        self.drops = Counter()

    def add_run(self, lines, cut):
        """The lines that end within the first `cut` bytes are told."""
        serials, end = {}, 0
        for line in lines:
            end += len(line.printed)
            if end > cut:
                break
            if line.text in (texts.SIZES, texts.SERVICE_ENDED):
                self._lose_waiting()
            self._take(line, serials)

    def _take(self, line, serials):
        self.drops[DROPS.get(line.text)] += 1
        if line.text == texts.QUERY_ACCEPTED:
            name = line.printed.split(b"the request domain is ", 1)[1].rsplit(b", id:", 1)[0]
            serials[line.serial] = [shown(name), LOST if line.is_lost else WAITING, []]
            self.queries.append(serials[line.serial])
            self.drops[ID_STILL_WAITING] += line.is_lost
            return
        query = serials.get(line.serial)
        if query is None:
            return
        if line.text == texts.FALLBACK_METHOD:
            query[2].append([line.server, SILENT])
        if line.text in REACTIONS:
            query[2][-1][1] = REACTIONS[line.text]
        query[1] = ENDS.get(line.text, query[1])

    def _lose_waiting(self):
        for query in self.queries:
            if query[1] is WAITING:
                query[1] = LOST
                self.drops[LOST_AT_END] += 1

    def ended(self):
        return [query for query in self.queries if query[1] is not WAITING]

    def outcomes(self):
        """As the page's state has them."""
        counts = Counter(outcome for _, outcome, _ in self.queries)
        return {"host_map": counts[HOST_MAP], "answered": counts[ANSWERED], "no_such_name": counts[NO_SUCH_NAME],
                "lost": counts[LOST], "waiting": counts[WAITING]}

    def rows(self):
        return Counter(row_of(*query) for query in self.ended())

    def totals(self):
        sums = Counter({(DROP_SERIES + reason, ""): count for reason, count in self.drops.items() if reason is not None})
        for row in self.rows().elements():
            _, outcome, server, attempts = row
            sums[outcome, server] += 1
            for address, reaction in attempts:
                sums[ASKED_SERIES, address] += reaction != NOT_SENT
                sums[EMPTY_SERIES, address] += reaction == EMPTY
                sums[SERVER_SERIES, address] += reaction in (BY_ANSWER, EMPTY)
        return +sums


def row_of(name, outcome, attempts):
    """A query by its name, outcome, the server that answered or lost it, and what each server did."""
    server = attempts[-1][0] if attempts and outcome in (ANSWERED, LOST) else ""
    return name, outcome, server, tuple((address, reaction) for address, reaction in attempts)


def numbers_in(packed):
    """The numbers of a packed column: seven bits a byte, the lowest first."""
    numbers, number, shift = [], 0, 0
    for byte in packed or b"":
        number |= (byte & 0x7F) << shift
        shift += 7
        if byte < 0x80:
            numbers.append(number)
            number, shift = 0, 0
    return numbers


class Remembered:
    """The content of a database, straight from the file."""

    def __init__(self, path):
        with contextlib.closing(sqlite3.connect(path)) as database:
            self._servers = {0: "", **dict(database.execute("SELECT id, address FROM servers"))}
            self._read_queries(database)
            self._read_totals(database)
            self.uses = dict(database.execute("SELECT name, uses FROM names"))

    def _read_queries(self, database):
        self.rows, self.timed = Counter(), Counter()
        query = "SELECT n.name, outcome, server, microseconds, tried FROM queries JOIN names AS n ON n.id = queries.name"
        for name, outcome, server, microseconds, tried in database.execute(query):
            attempts = [[self._servers[server], BY_ANSWER]] if server and tried is None else []
            numbers = numbers_in(tried)
            for at in range(0, len(numbers), 3):
                attempts.append([self._servers[numbers[at]], numbers[at + 1]])
            assert server == 0 or self._servers[server] == attempts[-1][0]
            self.rows[row_of(name, outcome, attempts)] += 1
            self.timed[outcome, self._servers[server]] += microseconds is not None

    def _read_totals(self, database):
        """By the width of their slots; the times counted in those of the outcomes."""
        self.totals, self.times = {}, {}
        for width, series, server, queries, times in database.execute("SELECT width, series, server, queries, times FROM totals"):
            key = series, self._servers[server]
            self.totals.setdefault(width, Counter())[key] += queries
            if series <= LOST:
                self.times.setdefault(width, Counter())[key] += sum(numbers_in(times)[1::2])


def assert_holds(path, truth):
    """Every query, outcome, server and count."""
    remembered = Remembered(path)
    assert remembered.rows == truth.rows()
    assert remembered.uses == dict(Counter(name for name, _, _ in truth.ended()))
    for width in (60, 600, 86400):
        assert +remembered.totals.get(width, Counter()) == truth.totals(), width
        assert +remembered.times.get(width, Counter()) == +remembered.timed, width


def runs(random, most=3, steps=200):
    """The trace of each run, perhaps cut, and the truth of all of them."""
    traces, truth = [], Truth()
    for _ in range(most):
        run = ToldRun(random, random.randrange(steps))
        printed = b"".join(line.printed for line in run.lines)
        cut = max(len(printed) - random.choice([0, random.randrange(2000)]), 0)
        if is_of_hostile_name(run.lines, cut):
            cut = len(printed)
        truth.add_run(run.lines, cut)
        traces.append(printed[:cut])
    return traces, truth
