"""The two sides that a transcript is played on: the model and the real program."""

from harness import deadline_seconds
from model.differential.live import LiveProxy
from model.differential.peers import Peers
from model.differential.report import address, hex_of
from model.engine import SERVERS
from model.network import ProxyAsksItself
from model.process import ModelProxy

from .transcript import ANSWER, PROXY, SEND, UPSTREAM, TranscriptError

SHORTEST_MESSAGE = 12


class Mismatch(Exception):
    """Something is not as the transcript says; the text begins with file and line."""


def _fail(transcript, line, side, text):
    raise Mismatch(f"{transcript.name}:{line}: {side}: {text}")


def _last_line(exchange):
    lines = [line for _, line in exchange.trace] + [datagram.line for datagram in exchange.datagrams]
    return max(lines + [exchange.action.line if exchange.action else 1])


def _compare_trace(transcript, exchange, printed, side):
    lines = printed.split(b"\n")
    rest = lines.pop()
    for at, (expected, number) in enumerate(exchange.trace):
        found = lines[at] if at < len(lines) else rest
        if at >= len(lines) or found != expected:
            _fail(transcript, number, side, f"printed {found!r}, expected {expected!r}")
    more = lines[len(exchange.trace) :] + ([rest] if rest else [])
    if more:
        _fail(transcript, _last_line(exchange), side, f"then printed {more[0]!r}, which is not written")


def _compare_datagram(transcript, expected, received, side):
    if received != expected.content:
        text = f"sent {hex_of(received)} to {address(expected.address)}, expected {hex_of(expected.content)}"
        _fail(transcript, expected.line, side, text)


def play_on_model(transcript):
    """Raises Mismatch."""
    proxy = ModelProxy(transcript.dns, transcript.hostmap, port_is_taken=transcript.port_is_taken)
    for exchange in transcript.exchanges:
        took_queries = proxy.takes_queries
        outcome = _model_step(transcript, proxy, exchange.action)
        _compare_trace(transcript, exchange, outcome.trace, "model")
        _compare_model_datagrams(transcript, exchange, outcome.sent)
        intake_ended = took_queries and not proxy.takes_queries and proxy.is_running
        if intake_ended != exchange.intake_ends:
            _fail(transcript, _last_line(exchange), "model", f"the intake ended: {intake_ended}")
    if proxy.exit_status != transcript.exit_status:
        last = _last_line(transcript.exchanges[-1])
        _fail(transcript, last, "model", f"status {proxy.exit_status}, expected {transcript.exit_status}")


def _model_step(transcript, proxy, action):
    if action is None:
        return proxy.start()
    if not proxy.is_running:
        _fail(transcript, action.line, "model", "the process has ended before this")
    take = proxy.from_application if action.kind == SEND else proxy.from_server
    try:
        return take(action.content, action.address)
    except ProxyAsksItself as address:
        text = f"{transcript.name}:{action.line}: the proxy would ask itself at {address} without an end."
        raise TranscriptError(text) from None


def _compare_model_datagrams(transcript, exchange, sent):
    if len(sent) != len(exchange.datagrams):
        text = f"sends {len(sent)} datagrams, {len(exchange.datagrams)} are written"
        _fail(transcript, _last_line(exchange), "model", text)
    for expected, datagram in zip(exchange.datagrams, sent):
        kind = UPSTREAM if datagram.socket == SERVERS else ANSWER
        if (kind, datagram.destination) != (expected.kind, expected.address):
            _fail(transcript, expected.line, "model", f"sends {kind} {address(datagram.destination)} instead")
        _compare_datagram(transcript, expected, datagram.datagram, "model")


def play_on_program(transcript):
    """Raises Mismatch."""
    model = ModelProxy(transcript.dns, transcript.hostmap, port_is_taken=transcript.port_is_taken)
    model.start()
    with Peers() as peers:
        if transcript.port_is_taken:
            peers.open(PROXY)
        if model.is_running:
            peers.open_servers(model)
        with LiveProxy(transcript.dns, transcript.hostmap, deadline_seconds()) as live:
            _Program(transcript, peers, live).play()


class _Program:
    def __init__(self, transcript, peers, live):
        self.transcript = transcript
        self.peers = peers
        self.live = live
        self.upstream = None

    def _fail(self, line, text):
        _fail(self.transcript, line, "program", text)

    def play(self):
        last = 1
        try:
            for exchange in self.transcript.exchanges:
                last = _last_line(exchange)
                self._exchange(exchange)
            self._end(last)
        except AssertionError as failed:
            self._fail(last, str(failed))

    def _exchange(self, exchange):
        if exchange.action:
            self._act(exchange.action)
        _compare_trace(self.transcript, exchange, self.live.read_trace(exchange.expected_trace), "program")
        for expected in exchange.datagrams:
            self._receive(expected)
        unexpected = self.peers.unexpected()
        if unexpected:
            receiver, datagram = unexpected
            self._fail(_last_line(exchange), f"sent {hex_of(datagram)} to {address(receiver)}, which is not written")
        if exchange.action is None and self._serves():
            self.live.note_threads()
        if exchange.intake_ends:
            self.live.expect_query_thread_end()

    def _serves(self):
        return self.transcript.exit_status is None or len(self.transcript.exchanges) > 1

    def _act(self, action):
        if action.kind == SEND:
            self.peers.send(action.address, action.content, PROXY)
            return
        if self.upstream is None:
            self._fail(action.line, "the proxy's upstream port is not known before its first query to a server")
        if len(action.content) < SHORTEST_MESSAGE:
            self.live.wait_until_asleep()
        self.peers.send(action.address, action.content, self.upstream)

    def _receive(self, expected):
        received = self.peers.receive(expected.address, deadline_seconds())
        if received is None:
            self._fail(expected.line, f"sent nothing to {address(expected.address)}")
        datagram, sender = received
        _compare_datagram(self.transcript, expected, datagram, "program")
        if expected.kind == UPSTREAM:
            self.upstream = self.upstream or sender
        if sender != (self.upstream if expected.kind == UPSTREAM else PROXY):
            self._fail(expected.line, f"sent the datagram from {address(sender)}")

    def _end(self, line):
        if self.transcript.exit_status is None:
            self.live.wait_until_asleep()
            intake_ended = any(exchange.intake_ends for exchange in self.transcript.exchanges)
            self.live.expect_threads(not intake_ended)
            self.live.kill()
        elif (status := self.live.exit_status()) != self.transcript.exit_status:
            self._fail(line, f"ended with status {status}, expected {self.transcript.exit_status}")
        rest = self.live.read_to_end()
        if rest or self.live.errors():
            self._fail(line, f"then printed {rest or self.live.errors()!r}, which is not written")
