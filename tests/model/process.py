"""The process: its start, what its two threads make of a datagram, and its end."""

from dataclasses import dataclass

from . import configuration
from . import trace_texts as texts
from .engine import Engine
from .network import LoopbackOnly
from .tables import HostTable, RequestTable, methods_of

LOCAL_ADDRESS = (b"127.0.0.1", 53)


@dataclass(frozen=True)
class Outcome:
    """All that one event leads to. `number` is what the proxy calls an accepted query, else None."""

    trace: bytes
    sent: tuple = ()
    number: int = None


class ModelProxy:
    """One life of the proxy. `exit_status` is None as long as the process lives."""

    def __init__(self, dns, hostmap, network=None, port_is_taken=False):
        self._files = (dns, hostmap)
        self._port_is_taken = port_is_taken
        self._trace = texts.Trace()
        self._sent = []
        self.hosts = HostTable()
        self.requests = RequestTable()
        self.network = network or LoopbackOnly()
        self.engine = None
        self.exit_status = None
        self.takes_queries = False

    @property
    def is_running(self):
        return self.exit_status is None

    def start(self):
        say = self._trace.say
        read = configuration.read(*self._files, self._trace)
        if read.is_empty:
            say(texts.NOTHING_CONFIGURED)
            self.exit_status = 0
        elif self._port_is_taken:
            say(texts.BIND_FAILED, *LOCAL_ADDRESS)
            say(texts.SERVICE_FAILED)
            self.exit_status = 1
        else:
            self._start_service(read)
        return self._outcome()

    def _start_service(self, read):
        say = self._trace.say
        say(texts.BIND_SUCCESS, *LOCAL_ADDRESS)
        for domain, address_text in read.host_pairs:
            say(texts.ADD_HOST_MAP, domain, address_text)
            self.hosts.add(domain, address_text)
        for server in read.servers:
            say(texts.ADD_SERVER, server)
        methods = methods_of(read)
        self.engine = Engine(methods, self.hosts, self.requests, self.network, self._trace, self._sent)
        say(texts.ANSWER_THREAD_STARTED)
        say(texts.QUERY_THREAD_STARTED)
        self.takes_queries = True

    def from_application(self, datagram, source):
        """A datagram for port 53. Nobody reads it once the query thread has ended."""
        if not self.is_running or not self.takes_queries:
            return self._outcome()
        self._trace.say(texts.QUERY_READABLE)
        self.takes_queries = self.engine.intake(datagram, source)
        return self._outcome(self.engine.accepted_number)

    def from_server(self, datagram, source):
        """A datagram for the upstream socket. The service lives as long as the thread that reads it."""
        if not self.is_running:
            return self._outcome()
        self._trace.say(texts.ANSWER_READABLE)
        if not self.engine.relay(datagram, source):
            self._trace.say(texts.ANSWER_THREAD_ENDS)
            self._trace.say(texts.SERVICE_ENDED)
            self.exit_status = 0
            self.takes_queries = False
        return self._outcome()

    def _outcome(self, number=None):
        sent = tuple(self._sent)
        self._sent.clear()
        return Outcome(self._trace.take(), sent, number)
