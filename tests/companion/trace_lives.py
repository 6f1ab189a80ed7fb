"""Random lives of the proxy, as its trace shows them, with the truth beside it.

The model (tests/model) says every line. Here its lines are cut into the parts that a worker hands over at once,
and the two workers' parts are put together in a random order that they can have: each worker has one step under
way at most, and a response comes only behind the part that asked for it. Names are hostile: any bytes, lines
of the trace, copies of what stands around them.

Somebody forges responses meanwhile: while the query thread has filed a query and has not handed its lines over,
the answer thread may be at work on the same query and print its lines first.
"""

import contextlib
import errno
import gc
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

# Lines with which a query ends.
ENDS = (texts.HOST_MAP_HIT, texts.RELAYED, texts.NO_MORE_METHODS, texts.FORWARD_FAILED)
# The relay's lines that show a name, and where they have its id.
SHOWN_BY_RELAY = {texts.RELAYED: -1, texts.RESPONSE_WITHOUT_ANSWER: 1}


@contextlib.contextmanager
def long_life():
    """Nothing of a life goes in circles, and to look for that takes a third of a long one's time."""
    gc.disable()
    try:
        yield
    finally:
        gc.enable()


@dataclass
class Line:
    text: bytes  # the constant of trace_texts
    printed: bytes
    name: bytes = b""  # of that query
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
        if text in (texts.QUERY_ACCEPTED, texts.FALLBACK_CALLED):
            self._life.slip_in()

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
        self._life.slip_in()
        self._life.hand_over()
        self._life.slip_in()
        if self._random.random() < 0.05:
            return errno.ENETUNREACH
        self._life.asked(address)
        return 0

    def send_to_application(self, _address, _port):
        self._trace.cut()
        return errno.EPERM if self._random.random() < 0.05 else 0


class Run:
    """One run of the proxy. `lines` is what it has printed, in the order of the trace."""

    def __init__(self, random, steps, hostile=True, ends=True, forges=False):
        self.random = random
        self.hostile = hostile
        self.ends = ends  # workers may end before the last step
        self.lines = []
        self.serial = 0
        self.pending_asks = []
        self.outstanding = []  # (id, server) that may respond
        self.names = []
        self._pending = {"query": [], "answer": []}
        self._worker = None
        self._current = self._serial = 0  # id and serial of the query that the worker works on
        self.forges = forges
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
            request = self.proxy.requests.find(values[1])
            self.serial += 1
            line.name, line.serial = values[0], self.serial
            line.is_lost = hasattr(request, "serial")
            if not line.is_lost:
                request.serial = self.serial
        elif line.text == texts.FALLBACK_CALLED:
            request = self.proxy.requests.find(values[0])
            self._current, self._serial = values[0], request.serial if request else 0
        elif line.text in SHOWN_BY_RELAY:
            request = self.proxy.requests.find(values[SHOWN_BY_RELAY[line.text]])
            line.name, line.serial = request.name, request.serial
        elif line.text in ENDS or line.text == texts.FALLBACK_METHOD:
            line.serial = self._serial
        if line.text == texts.FALLBACK_METHOD and values[0] != 0:
            line.text = None

    def asked(self, address):
        self.pending_asks.append((self._current, address))

    def hand_over(self):
        """The query thread's lines may be in the trace before its send has returned."""
        if self._worker == "query" and self.random.random() < 0.3:
            for part in self.trace.take_parts():
                self.lines += part

    def slip_in(self):
        """The answer thread takes forged responses while the query thread is at work on a query."""
        while self._worker == "query" and self.forges and self.random.random() < 0.2:
            while self._pending["answer"]:
                self._print_part("answer")
            kept = self.trace.parts, self.pending_asks, self._current, self._serial
            self.trace.parts, self.pending_asks = [[]], []
            self._take("answer", self._take_forged)
            self._worker = "query"
            self.trace.parts, self.pending_asks, self._current, self._serial = kept

    # The two workers.

    def _tick(self):
        if not self.proxy.is_running:
            return
        worker = self.random.choice(["query", "query", "answer"])
        if self._pending[worker]:
            self._print_part(worker)
        elif worker == "query" and self.proxy.takes_queries:
            self._take("query", self._take_query)
        elif worker == "answer":
            self._take("answer", self._take_response)

    def _take(self, worker, step):
        self._worker = worker
        step()
        parts, self._worker = self.trace.take_parts(), None
        asks, self.pending_asks = self.pending_asks, []
        self._pending[worker] = [(part, asks if at == 0 else []) for at, part in enumerate(parts)]
        if not parts:
            self.outstanding += asks

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
            self._respond(number, server, answers)

    def _respond(self, number, server, answers):
        self.proxy.from_server(struct.pack("<H", number) + b"\x81\x80\0\1" + answers + bytes(12), (server, 53))

    def _take_forged(self):
        number = self.proxy.engine.accepted_number
        request = self.proxy.requests.find(number)
        place = request.method_index if request else 0
        is_right = request and place < len(request.methods) and self.random.random() < 0.8
        server = request.methods[place].address if is_right else self.random.choice(SERVERS)
        self._respond(number, server or SERVERS[0], self.random.choice([b"\0\0", b"\0\1"]))

    @property
    def next_id(self):
        return self.proxy.engine.next_number if self.proxy.engine else 0

    def recent(self):
        """The end of the trace so far, as bytes."""
        return b"".join(line.printed for line in self.lines[-12:])
