"""Random lives of the proxy, as its trace shows them, with the truth beside it.

The model (tests/model) says every line. Here its lines are cut into the parts that a worker hands over at once,
and the two workers' parts are put together in a random order that they can have: each worker has one step under
way at most, and a response comes only behind the part that asked for it. Names are hostile: any bytes, lines
of the trace, copies of what stands around them.
"""

import errno
import struct
from collections import Counter
from dataclasses import dataclass

import model.engine
from model import trace_texts as texts
from model.decoder import NAME_BYTES, Question
from model.process import ModelProxy

from trace_names import hostile_name

HEADER_BYTES = 12
SOURCE = ("127.0.0.1", 4000)
SERVERS = ["10.0.0.8", "10.0.0.9", "10.0.0.10"]

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
    texts.QUERY_ACCEPTED: 11,
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


@dataclass
class Line:
    text: bytes  # the constant of trace_texts
    printed: bytes
    serial: int = 0  # of the query that it is about, in the run, from 1
    is_lost: bool = False  # the query accepted here, because its id still waits


class Parts(texts.Trace):
    """The trace of the step at hand: parts of lines."""

    def __init__(self, life):
        super().__init__()
        self._life = life
        self.parts = [[]]

    def say(self, text, *values):
        super().say(text, *values)
        line = Line(text, super().take())
        self._life.annotate(line, values)
        self.parts[-1].append(line)

    def cut(self):
        self.parts.append([])

    def take_parts(self):
        parts = [part for part in self.parts if part]
        self.parts = [[]]
        return parts

    def take(self):
        return b""


class Network:
    """Sends that fail now and then; each ends a part."""

    def __init__(self, random, trace, life):
        self._random = random
        self._trace = trace
        self._life = life

    def send_to_server(self, address):
        self._trace.cut()
        if self._random.random() < 0.05:
            return errno.ENETUNREACH
        self._life.asked(address)
        return 0

    def send_to_application(self, _address, _port):
        self._trace.cut()
        return errno.EPERM if self._random.random() < 0.05 else 0


class Run:
    """One run of the proxy. `lines` is what it has printed, in the order of the trace."""

    def __init__(self, random, steps, hostile=True, ends=True):
        self.random = random
        self.hostile = hostile
        self.ends = ends  # workers may end before the last step
        self.lines = []
        self.serial = 0
        self.pending_asks = []
        self.outstanding = []  # (id, server) that may respond
        self.names = []
        self._pending = {"query": [], "answer": []}
        self._current = 0
        self.trace = Parts(self)
        self._start()
        for _ in range(steps):
            self._tick()
        self._print_all()

    def _start(self):
        random = self.random
        servers = [random.choice(SERVERS) for _ in range(random.randrange(4))]
        hosts = [b"a.lan:10.0.0.1", b"b.lan:10.0.0.2", b"read dns: x:1.2.3.4"][: random.randrange(4)]
        self.servers = servers
        dns = "".join(server + "\n" for server in servers).encode()
        self.proxy = ModelProxy(dns, b"".join(host + b"\n" for host in hosts), port_is_taken=random.random() < 0.03)
        self.proxy._trace = self.trace
        self.proxy.network = Network(random, self.trace, self)
        self.proxy.start()
        for part in self.trace.take_parts():
            self.lines += part

    # What the trace and the network tell while a step is under way.

    def annotate(self, line, values):
        if line.text == texts.QUERY_ACCEPTED:
            number = values[1]
            request = self.proxy.requests.find(number)
            self.serial += 1
            line.serial = self.serial
            line.is_lost = hasattr(request, "serial")
            if not line.is_lost:
                request.serial = self.serial
        elif line.text == texts.FALLBACK_CALLED:
            self._current = values[0]
        elif line.text in ENDS or line.text == texts.FALLBACK_METHOD:
            number = values[-1] if line.text in (texts.HOST_MAP_HIT, texts.RELAYED) else self._current
            line.serial = self.proxy.requests.find(number).serial
        if line.text == texts.FALLBACK_METHOD and values[0] != 0:
            line.text = None

    def asked(self, address):
        self.pending_asks.append((self._current, address))

    # The two workers.

    def _tick(self):
        if not self.proxy.is_running:
            return
        worker = self.random.choice(["query", "query", "answer"])
        if self._pending[worker]:
            self._print_part(worker)
        elif worker == "query" and self.proxy.takes_queries:
            self._take_query()
        elif worker == "answer":
            self._take_response()

    def _print_part(self, worker):
        part, asks = self._pending[worker].pop(0)
        self.lines += part
        self.outstanding += asks

    def _print_all(self):
        while self._pending["query"] or self._pending["answer"]:
            worker = self.random.choice(["query", "answer"])
            if self._pending[worker]:
                self._print_part(worker)
        main = [line for line in self.lines if line.text == texts.SERVICE_ENDED]
        self.lines = [line for line in self.lines if line.text != texts.SERVICE_ENDED] + main

    def _file_parts(self, worker):
        parts = self.trace.take_parts()
        asks, self.pending_asks = self.pending_asks, []
        self._pending[worker] = [(part, asks if at == 0 else []) for at, part in enumerate(parts)]

    def _take_query(self):
        random = self.random
        if self.ends and random.random() < 0.003:
            bad = [bytes(11), struct.pack(">HHHHHH", 1, 0, 2, 0, 0, 0), struct.pack(">HHHHHH", 1, 0, 1, 0, 0, 0)]
            model.engine.question_of = lambda _datagram, _trace: Question(b"")
            self.proxy.from_application(random.choice(bad), SOURCE)
        else:
            name = self._name()
            self.names = [*self.names[-20:], name]
            size = HEADER_BYTES + 1 + len(name) + random.choice([0, 5, 16, 40, 1100])
            datagram = struct.pack(">HHHHHH", 7, 0x100, 1, 0, 0, 0).ljust(size, b"\7")
            # The reader must stand any name, not only what labels can make up.
            model.engine.question_of = lambda _datagram, trace: self._decode(name, trace)
            self.proxy.from_application(datagram, SOURCE)
        self._file_parts("query")

    def _decode(self, name, trace):
        if self.random.random() < 0.02:
            trace.say(texts.INVALID_LENGTH, -64)
        return Question(name, 1, 1)

    def _name(self):
        random = self.random
        if not self.hostile or random.random() < 0.4:
            return random.choice([b"a.lan", b"B.lan", b"c.lan", b"9.in-addr.arpa", b"name.example"])
        return hostile_name(random, self)[:NAME_BYTES].replace(b"\0", b"?") or b"x"

    def _take_response(self):
        random = self.random
        kind = random.random()
        if self.ends and kind < 0.002:
            self.proxy.from_server(bytes(5), (SERVERS[0], 53))
        elif kind < 0.1 or not self.outstanding:
            number = random.randrange(40)
            # Nobody answers a query that the query thread has not even sent.
            if not self._pending["query"] or self.proxy.requests.find(number) is None:
                self.proxy.from_server(struct.pack("<H", number) + bytes(18), (random.choice(SERVERS), 53))
        else:
            at = random.randrange(len(self.outstanding))
            number, server = self.outstanding[at]
            if random.random() < 0.9:
                del self.outstanding[at]
            answers = b"\0\0" if random.random() < 0.4 else b"\0\1"
            self.proxy.from_server(struct.pack("<H", number) + b"\x81\x80\0\1" + answers + bytes(12), (server, 53))
        self._file_parts("answer")

    @property
    def next_id(self):
        return self.proxy.engine.next_number if self.proxy.engine else 0

    def recent(self):
        """The end of the trace so far, as bytes."""
        return b"".join(line.printed for line in self.lines[-12:])


class Truth:
    """What a reader must find in a trace."""

    def __init__(self):
        self.kinds = Counter()
        self.queries = []  # [outcome, loss, name]
        self.has_doubt = False
        self.is_whole = True

    def add_run(self, lines, cut):
        """The lines that end within the first `cut` bytes are told."""
        told, end = [], 0
        for line in lines:
            end += len(line.printed)
            if end > cut:
                break
            told.append(line)
        if any(line.text == texts.SIZES for line in told):
            self._lose_waiting()
        serials = {}
        for line in told:
            if line.text == texts.FALLBACK_METHOD:
                self.kinds[ASKED] += 1
            elif line.text in KINDS:
                self.kinds[KINDS[line.text]] += 1
            if line.text == texts.QUERY_ACCEPTED:
                name = line.printed.split(b"the request domain is ", 1)[1].rsplit(b", id:", 1)[0]
                record = [LOST_OUTCOME, ID_STILL_WAITING] if line.is_lost else [WAITING, 0]
                self.queries.append([*record, name])
                serials[line.serial] = len(self.queries) - 1
                self.kinds[LOST] += line.is_lost
            elif line.text in ENDS and line.serial in serials:
                record = self.queries[serials[line.serial]]
                record[:2] = [ENDS[line.text], NOT_SENT if line.text == texts.FORWARD_FAILED else 0]
        if any(line.text == texts.SERVICE_ENDED for line in told):
            self._lose_waiting()

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


def life(random, runs=3, steps=200, hostile=True):
    """(trace, truth)."""
    trace, truth = b"", Truth()
    for _ in range(runs):
        run = Run(random, random.randrange(steps), hostile)
        printed = b"".join(line.printed for line in run.lines)
        cut = len(printed)
        if random.random() < 0.5:
            cut = max(cut - random.randrange(2000), 0)
            truth.has_doubt = truth.has_doubt or is_of_hostile_name(run.lines, cut)
            truth.is_whole = False
        truth.add_run(run.lines, cut)
        trace += printed[:cut]
    return trace, truth
