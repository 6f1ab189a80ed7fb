"""Random lives of the proxy: the same seed and number give the same life, on any machine."""

import random

from ..engine import SERVERS, raw_id
from ..process import ModelProxy
from . import files, questions
from .scenario import Burst, Query, Response, Scenario

APPLICATIONS = (("127.0.0.1", 20001), ("127.0.0.1", 20002), ("127.0.0.5", 20001), ("127.9.9.9", 53))
FORGED_APPLICATIONS = (("127.0.0.1", 0), ("10.0.0.9", 1234), ("127.255.255.255", 20003))
STRANGERS = (("127.0.0.1", 20004), ("127.0.0.77", 53), ("10.0.0.8", 53), ("127.0.0.2", 0))
ANSWER_COUNTS = (1, 1, 1, 2, 127, 256, 0x8000, 0x017F, 0x0101)
NO_ANSWER_COUNTS = (0, 0, 0, 128, 255, 0x7FFF, 0xFFFF, 0x01FF, 0x7F80)
RESPONSE_SIZES = (12, 12, 13, 40, 100, 512, 1400, 8191, 8192, 8193, 9000, 65507)
ORDINARY_LENGTH = (4, 90)
MARCH_LENGTH = 330
REFUSALS_PER_LIFE = 0.5
BURST_DATAGRAM_BYTES = 1500
PORT_IS_TAKEN = 0.03


class _Life:
    """Steps are drawn with a model at hand, which knows the requests that wait for an answer."""

    def __init__(self, rng):
        self.rng = rng
        self.kind, self.dns, self.hostmap = files.random_files(rng)
        self.port_is_taken = rng.random() < PORT_IS_TAKEN
        self.model = ModelProxy(self.dns, self.hostmap, port_is_taken=self.port_is_taken)
        self.model.start()
        self.known = [domain for domain in self.model.hosts.domains if domain]
        self.steps = []
        self.query_of = {}
        self.seen = []
        self.socket_is_known = False

    def play(self, step):
        if isinstance(step, Response):
            self.seen.append(step)
            self._note(self.model.from_server(step.datagram, step.source), 0)
        else:
            for place, query in enumerate(step.queries if isinstance(step, Burst) else [step]):
                self._note(self.model.from_application(query.datagram, query.source), place)
        self.steps.append(step)

    def _note(self, outcome, place):
        if outcome.number is not None:
            self.query_of[outcome.number] = (len(self.steps), place)
        self.socket_is_known |= any(sent.socket == SERVERS for sent in outcome.sent)

    def _application(self):
        return self.rng.choice(FORGED_APPLICATIONS if self.rng.random() < 0.04 else APPLICATIONS)

    def query(self):
        self._ask(questions.query(self.rng, self.known))

    def _ask(self, datagram):
        self.play(Query(self._application(), datagram))

    def burst(self):
        drawn = [questions.query(self.rng, self.known) for _ in range(self.rng.randint(2, 20))]
        small = [datagram for datagram in drawn if len(datagram) <= BURST_DATAGRAM_BYTES]
        self.play(Burst(tuple(Query(self._application(), datagram) for datagram in small)))

    def refusal(self):
        self._ask(questions.refused_query(self.rng))

    def _message(self, number, count):
        rng = self.rng
        body = rng.randbytes(rng.choice(RESPONSE_SIZES) if rng.random() < 0.5 else rng.randint(12, 120))
        question_count = rng.choice((b"\0\1", body[4:6]))
        return raw_id(number) + body[2:4] + question_count + count.to_bytes(2, "big") + body[8:]

    def _respond(self, number, source, count):
        self.play(Response(source, self._message(number, count), self.query_of.get(number)))

    def _count(self, answered):
        return self.rng.choice(ANSWER_COUNTS if answered else NO_ANSWER_COUNTS)

    def answer(self, request, answered):
        """From the server that was asked, in most cases from port 53."""
        address = request.methods[request.method_index].address
        port = 53 if self.rng.random() < 0.8 else self.rng.choice((0, 20005))
        self._respond(request.number, (address, port), self._count(answered))

    def stray(self, request):
        """A response that nobody waits for: an earlier one again, a wrong sender, an unknown id."""
        rng = self.rng
        kind = rng.randrange(4)
        if kind == 0 and self.seen:
            earlier = rng.choice(self.seen[-8:])
            self.play(earlier)
        elif kind == 1:
            number = rng.choice((self.model.engine.next_number, 0x0100, 0xFFFF, rng.randrange(0x10000)))
            self._respond(number, rng.choice(STRANGERS), self._count(rng.random() < 0.5))
        elif kind == 2 and request.method_index > 0:
            earlier = request.methods[rng.randrange(request.method_index)].address
            source = (earlier, 53) if earlier.startswith("127.0") else rng.choice(STRANGERS)
            self._respond(request.number, source, self._count(rng.random() < 0.5))
        else:
            self._respond(request.number, rng.choice(STRANGERS), self._count(rng.random() < 0.5))

    def march(self, length):
        """One request through a long list of servers, with others on the way."""
        while len(self.steps) < length and self.model.is_running:
            waiting = self.model.requests.waiting()
            if not waiting or self.rng.random() < 0.03:
                reverse = self.rng.random() < 0.5
                name = questions.labels(self.rng.choice(self._reverse_names())) if reverse else b"\1m"
                self._ask(questions.header(self.rng) + name + b"\0\0\1\0\1")
            else:
                request = waiting[0]
                if self.rng.random() < 0.05:
                    self.stray(request)
                else:
                    self.answer(request, answered=self.rng.random() < 0.002)

    def _reverse_names(self):
        return [name for name in self.known if b".in-addr.arpa" in name] or questions.REVERSE_NAMES[:1]

    def wander(self, length):
        rng = self.rng
        refusal = REFUSALS_PER_LIFE / length
        while len(self.steps) < length and self.model.is_running:
            waiting = self.model.requests.waiting()
            kind = rng.random()
            if kind < refusal:
                self.refusal()
            elif waiting and self.socket_is_known and kind < 0.44:
                self.answer(rng.choice(waiting), answered=rng.random() < 0.4)
            elif waiting and self.socket_is_known and kind < 0.54:
                self.stray(rng.choice(waiting))
            elif self.seen and kind < 0.58:
                self.play(rng.choice(self.seen[-8:]))
            elif self.model.takes_queries and kind < 0.60:
                self.burst()
            elif self.model.takes_queries or kind > 0.97 or not (waiting and self.socket_is_known):
                self.query()
                length -= 0 if self.model.takes_queries else 3

    def close(self):
        """An end of the service, or of the intake, by a datagram too short."""
        if self.model.is_running and self.socket_is_known and self.rng.random() < 0.7:
            short = self.rng.randbytes(self.rng.choice((0, 11, self.rng.randrange(12))))
            self.play(Response(("127.0.0.1", 20004), short))
        elif self.model.is_running:
            self.refusal()


def life(seed, number):
    """The life of this number, of a seed. Numbers count from 0 without an end."""
    drawn = _Life(random.Random(f"{seed}/{number}"))
    if drawn.model.is_running:
        if drawn.kind in (files.MANY, files.OVER_A_BYTE) and drawn.rng.random() < 0.5:
            drawn.march(MARCH_LENGTH if drawn.kind == files.OVER_A_BYTE else MARCH_LENGTH // 2)
        else:
            drawn.wander(drawn.rng.randint(*ORDINARY_LENGTH))
        drawn.close()
    return Scenario(drawn.dns, drawn.hostmap, tuple(drawn.steps), drawn.port_is_taken)
