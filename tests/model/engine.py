"""The path of a datagram: intake from an application, fallback over the methods, relay from a server."""

from dataclasses import dataclass

from . import trace_texts as texts
from .answers import host_map_answer, no_such_name
from .decoder import HEADER_BYTES, RECEIVE_BYTES, question_of
from .tables import HOST_MAP, ID_COUNT, SERVER, Request

APPLICATIONS = "applications"
SERVERS = "servers"
SERVER_PORT = 53
RECORD_BYTES = 16
LONGEST_QUERY_WITH_ANSWER = RECEIVE_BYTES - RECORD_BYTES - 1
REVERSE_TEXT = b".in-addr.arpa"
REVERSE_INDEX = 0x9F


@dataclass(frozen=True)
class Sent:
    """A datagram that left the proxy: from which of its sockets, to which (address, port)."""

    socket: str
    destination: tuple
    datagram: bytes


def raw_id(number):
    """A number of the proxy's own as it travels: little-endian, for no byte is ever swapped."""
    return number.to_bytes(2, "little")


def shows_answers(response):
    """The answer count is read unswapped and signed."""
    return int.from_bytes(response[6:8], "little", signed=True) > 0


class Engine:
    """Datagrams that get through are appended to `sent`. Sources are (dotted address, port)."""

    def __init__(self, methods, hosts, requests, network, trace, sent):
        self.methods = tuple(methods)
        self.hosts = hosts
        self.requests = requests
        self.network = network
        self.trace = trace
        self.sent = sent
        self.next_number = 0
        self.accepted_number = None

    def intake(self, datagram, source):
        """False when the datagram is refused. `accepted_number` is then None, else the number it got."""
        say = self.trace.say
        datagram = datagram[:RECEIVE_BYTES]
        sender = source[0].encode()
        self.accepted_number = None
        say(texts.QUERY_RECEIVED, len(datagram), sender)
        if len(datagram) < HEADER_BYTES:
            say(texts.QUERY_TOO_SHORT, sender)
            return False
        question_count = int.from_bytes(datagram[4:6], "big")
        say(texts.QUESTION_COUNT, question_count)
        if question_count != 1:
            say(texts.QUESTION_COUNT_INVALID, question_count, sender)
            return False
        question = question_of(datagram, self.trace)
        if not question.name:
            say(texts.NAME_EMPTY, sender)
            return False
        say(texts.NAME_RECEIVED, question.name)
        request = self._file(datagram, source, question)
        say(texts.QUERY_ACCEPTED, question.name, request.number)
        self.fallback(request.number)
        return True

    def _file(self, datagram, source, question):
        number = self.next_number
        self.next_number = (number + 1) % ID_COUNT
        self.accepted_number = number
        request = Request(
            number=number,
            client_id=datagram[:2],
            client=source,
            packet=raw_id(number) + datagram[2:],
            name=question.name,
            qtype=question.qtype,
            method_index=REVERSE_INDEX if REVERSE_TEXT in question.name else 0,
            methods=self.methods,
        )
        self.requests.add(request)
        return request

    def fallback(self, number):
        say = self.trace.say
        say(texts.FALLBACK_CALLED, number, 0)
        request = self.requests.find(number)
        if request is None:
            say(texts.FALLBACK_NOT_FOUND, b"TryNextDNSQueryMethod", number)
            return
        size = len(request.methods) % ID_COUNT
        say(texts.FALLBACK_POSITION, request.method_index, size)
        if request.method_index >= size:
            self._refuse(request)
            return
        method = request.methods[request.method_index]
        say(texts.FALLBACK_METHOD, method.kind)
        if method.kind == SERVER:
            self._forward(request, method)
        elif method.kind == HOST_MAP:
            self._look_up(request)

    def _forward(self, request, method):
        error = self.network.send_to_server(method.address)
        if error:
            self.trace.say(texts.FORWARD_FAILED, request.number, error)
            self.requests.delete(request.number)
            return
        self.sent.append(Sent(SERVERS, (method.address, SERVER_PORT), request.packet))

    def _look_up(self, request):
        record = self.hosts.find(request.name)
        if record is None or len(request.packet) > LONGEST_QUERY_WITH_ANSWER:
            self._advance(request)
            return
        self.trace.say(texts.HOST_MAP_HIT, request.name, *record[-4:], request.number)
        if self._answer(request, host_map_answer(request.packet, request.client_id, request.qtype, record)):
            self.trace.say(texts.HOST_MAP_SEND_FAILED)
        self.requests.delete(request.number)

    def _refuse(self, request):
        self.trace.say(texts.NO_MORE_METHODS)
        if self._answer(request, no_such_name(request.packet, request.client_id)):
            self.trace.say(texts.NO_SUCH_NAME_SEND_FAILED, request.number)
        self.requests.delete(request.number)

    def _advance(self, request):
        request.method_index = (request.method_index + 1) % 256
        self.fallback(request.number)

    def _answer(self, request, datagram):
        """Sends to the request's application; the error number, 0 for none."""
        error = self.network.send_to_application(*request.client)
        if not error:
            self.sent.append(Sent(APPLICATIONS, request.client, datagram))
        return error

    def relay(self, datagram, source):
        """False when the datagram is too short to be a message."""
        say = self.trace.say
        datagram = datagram[:RECEIVE_BYTES]
        sender = source[0].encode()
        say(texts.RESPONSE_RECEIVED, len(datagram), sender)
        if len(datagram) < HEADER_BYTES:
            say(texts.RESPONSE_TOO_SHORT, len(datagram), sender)
            return False
        number = int.from_bytes(datagram[:2], "little")
        request = self.requests.find(number)
        if request is None:
            say(texts.RESPONSE_UNKNOWN, sender, number)
            return True
        expected = self._expected_sender(request)
        if sender != expected:
            say(texts.RESPONSE_WRONG_SOURCE, number, request.method_index, sender, expected)
            return True
        if shows_answers(datagram):
            self._relay_answer(request, datagram, sender)
        else:
            say(texts.RESPONSE_WITHOUT_ANSWER, sender, number, request.name)
            self._advance(request)
        return True

    def _expected_sender(self, request):
        """Empty past the list's end, and for the host map, which sends nothing."""
        if request.method_index >= len(request.methods):
            return b""
        return request.methods[request.method_index].address.encode()

    def _relay_answer(self, request, datagram, sender):
        error = self._answer(request, request.client_id + datagram[2:])
        if error:
            self.trace.say(texts.RELAY_SEND_FAILED, request.number, error)
        last_four = [byte - 256 if byte > 127 else byte for byte in datagram[-4:]]
        self.trace.say(texts.RELAYED, request.name, *last_four, sender, request.number)
        self.requests.delete(request.number)
