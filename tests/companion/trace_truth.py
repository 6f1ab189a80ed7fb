"""What a reader must find in the trace of a random life."""

import re
from collections import Counter

from model import trace_texts as texts

from trace_lives import SHOWN_BY_RELAY, Run

# What each line makes, by the reader's numbers of its events.
KINDS = {
    texts.SIZES: 0,
    texts.NOTHING_CONFIGURED: 1,
    texts.SERVICE_FAILED: 1,
    texts.SERVICE_ENDED: 2,
    texts.QUERY_THREAD_STARTED: 3,
    texts.BIND_FAILED: 4,
    texts.QUERY_TOO_SHORT: 5,
    texts.QUESTION_COUNT_INVALID: 6,
    texts.NAME_EMPTY: 7,
    texts.INVALID_LENGTH: 10,
    texts.NAME_OVERFLOW: 10,
    texts.DOT_OVERFLOW: 10,
    texts.FORWARD_FAILED: 13,
    texts.HOST_MAP_HIT: 14,
    texts.NO_MORE_METHODS: 15,
    texts.RELAYED: 16,
    texts.RESPONSE_WITHOUT_ANSWER: 17,
    texts.RESPONSE_WRONG_SOURCE: 18,
    texts.HOST_MAP_SEND_FAILED: 19,
    texts.NO_SUCH_NAME_SEND_FAILED: 19,
    texts.RELAY_SEND_FAILED: 19,
    texts.RESPONSE_UNKNOWN: 22,
    texts.RESPONSE_TOO_SHORT: 23,
    texts.ANSWER_THREAD_ENDS: 26,
}
ACCEPTED, ASKED, LOST, NOT_LOST = 11, 12, 20, 21
WAITING, FROM_HOST_MAP, ANSWERED, NO_SUCH_NAME, LOST_OUTCOME = range(5)
ENDS = {
    texts.HOST_MAP_HIT: FROM_HOST_MAP,
    texts.RELAYED: ANSWERED,
    texts.NO_MORE_METHODS: NO_SUCH_NAME,
    texts.FORWARD_FAILED: LOST_OUTCOME,
}
ID_STILL_WAITING, NOT_SENT, LOST_AT_END = 3, 4, 9
# Told only of a query that has not ended yet: the two workers may both print an end.
TOLD_ONCE = (texts.HOST_MAP_HIT, texts.RELAYED, texts.NO_MORE_METHODS)


def goes_on(name, number, known):
    """Whether `name` begins with a known one and all that follows it where its answer is told."""
    rest = rb" received answer [-\d.]+ from [\d.]*, we have to delete id:%d\n" % number
    return re.match(re.escape(known) + rest, name) is not None


class Truth:
    """A query is accepted by its own line, or by one of the relay that shows it before."""

    def __init__(self):
        self.kinds = Counter()
        self.queries = []  # [outcome, loss, name]
        self.early = 0  # queries that the relay has shown first
        self.has_doubt = False
        self.is_whole = True

    def add_run(self, lines, cut):
        """The lines that end within the first `cut` bytes are told."""
        told, end, broken_off = [], 0, None
        for line in lines:
            end += len(line.printed)
            if end > cut:
                broken_off = line
                break
            told.append(line)
        if any(line.text == texts.SIZES for line in told):
            self._lose_waiting()
        self._records, self._early, self._names = {}, {}, {}
        for line in told:
            self._take(line)
        if any(line.text == texts.SERVICE_ENDED for line in told):
            self._lose_waiting()
        # Where its own lines are missing, or a line of the kind that shows it is broken off, it is not known where
        # such a name ends.
        is_early = broken_off and broken_off.text in SHOWN_BY_RELAY
        self.has_doubt = self.has_doubt or bool(is_early) or any(self._early.values())

    def _take(self, line):
        if line.text == texts.FALLBACK_METHOD:
            self.kinds[ASKED] += 1
        if line.text == texts.QUERY_ACCEPTED:
            self._early.pop(line.serial, None)
            self._accept(line)
        elif line.text in SHOWN_BY_RELAY:
            if line.serial not in self._records or line.serial in self._early:
                self._take_early(line)
            self._accept(line)
        record = self._records.get(line.serial)
        if line.text in TOLD_ONCE and (record is None or record[0] != WAITING):
            return
        self.kinds[KINDS.get(line.text)] += 1
        if line.text in ENDS and record and record[0] == WAITING:
            record[:2] = [ENDS[line.text], NOT_SENT if line.text == texts.FORWARD_FAILED else 0]

    def _accept(self, line):
        if line.text == texts.QUERY_ACCEPTED:
            self._names[int(line.printed.rsplit(b":", 1)[1])] = line.name
        if line.serial in self._records:
            return
        self._records[line.serial] = [LOST_OUTCOME, ID_STILL_WAITING] if line.is_lost else [WAITING, 0]
        self._records[line.serial].append(line.name)
        self.queries.append(self._records[line.serial])
        self.kinds[ACCEPTED] += 1
        self.kinds[LOST] += line.is_lost

    def _take_early(self, line):
        """The next query, whose own lines are still to come."""
        self.early += line.serial not in self._early
        self._early[line.serial] = line.serial in self._early or b"\n" in line.name
        # What begins like the line of another waiting query is taken for that.
        if line.text == texts.RELAYED:
            self.has_doubt = self.has_doubt or any(goes_on(line.name, *known) for known in self._names.items())

    def _lose_waiting(self):
        for record in self.queries:
            if record[0] == WAITING:
                record[:2] = [LOST_OUTCOME, LOST_AT_END]
                self.kinds[LOST] += 1


def is_of_hostile_name(lines, cut):
    """Whether byte `cut` lies within lines that show a name with a line feed."""
    at = 0
    for line in lines:
        at += len(line.printed)
        if at >= cut:
            return line.printed.count(b"\n") > 1
    return False


def life(random, runs=3, steps=200, hostile=True, cuts=True):
    """(trace, truth). It `cuts` runs off anywhere; otherwise each is whole, with forged responses."""
    trace, truth = b"", Truth()
    for _ in range(runs):
        run = Run(random, random.randrange(steps), hostile, forges=random.random() < 0.5 or not cuts)
        printed = b"".join(line.printed for line in run.lines)
        cut = len(printed)
        if random.random() < 0.5 and cuts:
            cut = max(cut - random.randrange(2000), 0)
            truth.has_doubt = truth.has_doubt or is_of_hostile_name(run.lines, cut)
            truth.is_whole = False
        truth.add_run(run.lines, cut)
        trace += printed[:cut]
    return trace, truth
