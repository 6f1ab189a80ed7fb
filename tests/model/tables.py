"""What the two threads share: the methods, the host map and the requests in flight."""

from dataclasses import dataclass

from . import trace_texts as texts
from .network import address_bytes, address_of

SERVER = 0
HOST_MAP = 1
ID_COUNT = 0x10000


@dataclass(frozen=True)
class Method:
    """`address` is the server's dotted address, empty for the host map."""

    kind: int
    address: str = ""


def methods_of(configuration):
    """The host map first, when there is one, then the servers in file order."""
    methods = [Method(HOST_MAP)] if configuration.host_pairs else []
    return methods + [Method(SERVER, address_of(text)) for text in configuration.servers]


class HostTable:
    """Domain to answer record. The first of two equal domains stays; domains keep their case."""

    RECORD_HEAD = bytes.fromhex("c00c 0001 0001 00015180 0004")

    def __init__(self):
        self._records = {}

    def add(self, domain, address_text):
        record = self.RECORD_HEAD + address_bytes(address_of(texts.printed(address_text)))
        self._records.setdefault(texts.printed(domain), record)

    def find(self, name):
        """The record of 16 bytes, or None. Only the name asked for is folded to lower case."""
        return self._records.get(name.lower())

    @property
    def domains(self):
        return list(self._records)


@dataclass
class Request:
    """One query in flight. Ids are raw bytes as they travel; `packet` carries the proxy's id."""

    number: int
    client_id: bytes
    client: tuple
    packet: bytes
    name: bytes
    qtype: int
    method_index: int
    methods: tuple


class RequestTable:
    """Requests by the number that the proxy gave them."""

    def __init__(self):
        self._requests = {}

    def add(self, request):
        """An entry that is there already stays, and the new request is lost."""
        self._requests.setdefault(request.number, request)

    def find(self, number):
        return self._requests.get(number)

    def delete(self, number):
        self._requests.pop(number, None)

    def waiting(self):
        return list(self._requests.values())
