"""One life on both sides at once: after every step, all that the model says has happened, and nothing else."""

import contextlib

from harness import Application, deadline_seconds

from ..decoder import HEADER_BYTES
from ..engine import APPLICATIONS, SERVER_PORT, SERVERS, raw_id
from ..process import ModelProxy
from . import report
from .live import LiveProxy
from .scenario import Burst, Query, Response

PROXY_ADDRESS = "127.0.0.1"
LAST_SOURCE = ("127.0.0.1", 20009)
SHORT = bytes(11)
START, END = "start", "end"


class Difference(Exception):
    """The program did not do what the model says. `step`: a step's position, START or END."""

    def __init__(self, step, text):
        super().__init__(f"{step if isinstance(step, str) else f'step {step}'}: {text}")
        self.step = step


class Lockstep:
    """Plays the steps `kept` (positions, ascending) of one scenario. Peers may be shared between lives."""

    def __init__(self, scenario, kept, peers, deadline=None):
        self.scenario = scenario
        self.kept = range(len(scenario.steps)) if kept is None else kept
        self.peers = peers
        self.deadline = deadline or deadline_seconds()
        self.model = ModelProxy(scenario.dns, scenario.hostmap, port_is_taken=scenario.port_is_taken)
        self.upstream = None
        self.numbers = {}
        self.played = 0
        self._at = START
        self._ended_intake = False

    def run(self):
        """The number of steps played. Raises Difference."""
        try:
            with self._port(), LiveProxy(self.scenario.dns, self.scenario.hostmap, self.deadline) as self.live:
                self._start()
                for position in self.kept:
                    self._at = position
                    self._step(position, self.scenario.steps[position])
                played = self.played
                self._at = END
                self._finish()
        except AssertionError as failed:
            raise Difference(self._at, str(failed)) from None
        return played

    def _port(self):
        """Whoever holds the proxy's port in this life."""
        return Application(PROXY_ADDRESS, SERVER_PORT) if self.scenario.port_is_taken else contextlib.nullcontext()

    def _start(self):
        outcome = self.model.start()
        if self.model.is_running:
            self.peers.open_servers(self.model)
        self._compare(outcome)
        if self.model.is_running:
            self.live.note_threads()

    def _step(self, position, step):
        if isinstance(step, Response):
            self._response(step)
        else:
            self._queries(step.queries if isinstance(step, Burst) else [step], position)

    def _queries(self, queries, position):
        if not self.model.is_running:
            return
        outcomes = [self.model.from_application(query.datagram, query.source) for query in queries]
        for place, outcome in enumerate(outcomes):
            if outcome.number is not None:
                self.numbers[position, place] = raw_id(outcome.number)
        for query in queries:
            self.peers.send(query.source, query.datagram)
        self.played += 1
        self._compare(*outcomes)
        if not self.model.takes_queries and not self._ended_intake:
            self._ended_intake = True
            self.live.expect_query_thread_end()

    def _response(self, response):
        """Left out while the proxy's upstream port is not known: nobody could send it then."""
        if self.upstream is None or not self.model.is_running:
            return
        datagram = response.datagram
        if response.answers in self.numbers:
            datagram = self.numbers[response.answers] + datagram[2:]
        if len(datagram) < HEADER_BYTES:
            self.live.wait_until_asleep()
        outcome = self.model.from_server(datagram, response.source)
        self.peers.send(response.source, datagram, self.upstream)
        self.played += 1
        self._compare(outcome)

    def _compare(self, *outcomes):
        expected = b"".join(outcome.trace for outcome in outcomes)
        printed = self.live.read_trace(expected)
        if printed != expected:
            raise Difference(self._at, report.trace_difference(expected, printed))
        for outcome in outcomes:
            for sent in outcome.sent:
                self._compare_sent(sent)
        unexpected = self.peers.unexpected()
        if unexpected:
            raise Difference(self._at, report.unexpected_datagram(*unexpected))

    def _compare_sent(self, sent):
        received = self.peers.receive(sent.destination, self.deadline)
        if received is None:
            raise Difference(self._at, report.missing_datagram(sent))
        datagram, sender = received
        if datagram != sent.datagram:
            raise Difference(self._at, report.datagram_difference(sent, datagram))
        if sent.socket == SERVERS and self.upstream is None:
            self.upstream = sender
        expected = (PROXY_ADDRESS, SERVER_PORT) if sent.socket == APPLICATIONS else self.upstream
        if sender != expected:
            raise Difference(self._at, f"a datagram to {sent.destination} came from {sender}, not from {expected}")

    def _finish(self):
        """A last step of known effect, behind which everything that came too much is visible."""
        if self.model.is_running and self.upstream:
            self._response(Response(LAST_SOURCE, SHORT))
        elif self.model.is_running and self.model.takes_queries:
            self._queries([Query(LAST_SOURCE, SHORT)], END)
        if self.model.is_running:
            self.live.wait_until_asleep()
            self.live.expect_threads(self.model.takes_queries)
            self.live.kill()
        elif (status := self.live.exit_status()) != self.model.exit_status:
            raise Difference(END, f"status {status}, expected {self.model.exit_status}; {self.live.errors()}")
        rest = self.live.read_to_end()
        if rest:
            raise Difference(END, report.trace_difference(b"", rest))
        if self.live.errors():
            raise Difference(END, f"standard error is not empty: {self.live.errors()}")
