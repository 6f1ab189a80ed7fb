"""An upstream server that answers by itself, for clients that cannot be led step by step."""

import socket
import threading

import dns.message
import dns.rcode
import dns.rdatatype
import dns.rrset

from harness import Upstream


class ZoneServer:
    """Answers from `records`, {(name, type): [texts]}; "no such name" for all else.

    Keeps the queries that it got in `asked`, as (name, type). Stops with the `with` block.
    """

    def __init__(self, address, records):
        self.records = records
        self.asked = []
        self._server = Upstream(address)
        self._thread = threading.Thread(target=self._serve, daemon=True)

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *_):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as waker:
            waker.sendto(b"", (self._server.address, self._server.port))
        self._thread.join()
        self._server.close()

    def _serve(self):
        while True:
            datagram, sender = self._server.socket.recvfrom(65535)
            if not datagram:
                return
            self._server.socket.sendto(self._answer(dns.message.from_wire(datagram)).to_wire(), sender)

    def _answer(self, query):
        question = query.question[0]
        name, kind = question.name.to_text(omit_final_dot=True), dns.rdatatype.to_text(question.rdtype)
        self.asked.append((name, kind))
        response = dns.message.make_response(query, recursion_available=True)
        texts = self.records.get((name, kind))
        if texts:
            response.answer.append(dns.rrset.from_text(question.name, 60, "IN", kind, *texts))
        else:
            response.set_rcode(dns.rcode.NXDOMAIN)
        return response
