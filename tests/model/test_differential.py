"""The real program and the model do the same, and the comparison would tell if they did not."""

import collections
import re

import pytest

import model.engine
from model import compare, trace_texts
from model.answers import no_such_name
from model.differential import census, shrink
from model.differential.lives import life
from model.differential.lockstep import Difference, Lockstep
from model.differential.peers import Peers
from model.differential.scenario import Burst, Query, Response, Scenario
from model.process import ModelProxy

NEEDS_BOTH_THREADS = {"FALLBACK_NOT_FOUND"}
OFTEN_ENOUGH = 5
CLIENT = ("127.0.0.1", 20001)
OTHER_CLIENT = ("127.0.0.1", 20002)
SERVER = ("127.0.0.2", 53)
HEADER = bytes.fromhex("0100 0001 0000 0000 0000")


@pytest.fixture
def peers(private_network):
    with Peers() as opened:
        yield opened


def test_fixed_seeds_and_a_fresh_one_show_no_difference(private_network, capsys, record_property):
    assert compare.main([]) == 0, capsys.readouterr().out
    printed = capsys.readouterr().out
    assert re.match(r"fresh seed: \d+\n", printed)
    assert int(re.search(r"(\d+) steps in", printed)[1]) >= 20000
    record_property("printed", printed)


def test_a_life_is_the_same_each_time():
    assert life(3, 1) == life(3, 1)
    assert life(3, 1) != life(3, 2)
    assert life(3, 1) != life(4, 1)


def model_outcomes(scenario):
    """(step, outcome) for the start, with None for a step, and for every datagram."""
    proxy = ModelProxy(scenario.dns, scenario.hostmap, port_is_taken=scenario.port_is_taken)
    yield None, proxy.start()
    for step in scenario.steps:
        if isinstance(step, Response):
            yield step, proxy.from_server(step.datagram, step.source)
        else:
            for query in step.queries if isinstance(step, Burst) else [step]:
                yield query, proxy.from_application(query.datagram, query.source)


def fixed_lives(seeds):
    return (life(seed, number) for seed in compare.FIXED_SEEDS[:seeds] for number in range(10))


def test_random_lives_reach_every_text(monkeypatch):
    said = collections.Counter()
    say = trace_texts.Trace.say

    def counted(trace, text, *values):
        said[text] += 1
        say(trace, text, *values)

    monkeypatch.setattr(trace_texts.Trace, "say", counted)
    for drawn in fixed_lives(40):
        for _ in model_outcomes(drawn):
            pass
    texts = {name: text for name, text in vars(trace_texts).items() if isinstance(text, bytes)}
    assert {name for name, text in texts.items() if said[text] < OFTEN_ENOUGH} == NEEDS_BOTH_THREADS


def test_random_lives_have_every_kind_of_datagram_and_file():
    kinds = collections.Counter()
    for drawn in fixed_lives(40):
        kinds.update(census.of_files(drawn))
        for step, _ in model_outcomes(drawn):
            kinds.update(census.of_datagram(step))
    assert {kind for kind in census.KINDS if kinds[kind] < OFTEN_ENOUGH} == set()


def test_random_lives_wrap_a_method_index_onto_the_host_map():
    traces = [
        outcome.trace
        for drawn in fixed_lives(40)
        for step, outcome in model_outcomes(drawn)
        if isinstance(step, Response) and b"CurrentDNSMethodIndex: 0," in outcome.trace
    ]
    assert any(b"(line:669)" in trace for trace in traces)
    assert any(b"CurrentDNSMethodIndex: 1," in trace for trace in traces)


def wrong_count(response):
    return response[6:8] != b"\0\0"


def wrong_answer(packet, client_id):
    return no_such_name(packet, client_id)[:3] + b"\x83" + packet[4:]


def wrong_id(number):
    return number.to_bytes(2, "big")


@pytest.mark.parametrize(
    "piece, replacement, steps",
    [
        ("shows_answers", wrong_count, 2),
        ("no_such_name", wrong_answer, 1),
        ("raw_id", wrong_id, 2),
        ("REVERSE_INDEX", 0xA0, 1),
        ("RECEIVE_BYTES", 8191, 2),
    ],
)
def test_a_wrong_model_is_noticed_and_few_steps_are_left(peers, monkeypatch, piece, replacement, steps):
    monkeypatch.setattr(model.engine, piece, replacement)
    for number in range(200):
        scenario = life(1, number)
        difference = shrink.failure(scenario, None, peers)
        if difference:
            break
    before, difference = shrink.shortest_prefix(scenario, difference, peers)
    assert shrink.failure(scenario, before, peers)
    assert not shrink.failure(scenario, before[:-1], peers)
    kept, smallest = shrink.smallest(scenario, before, difference, peers)
    assert 1 <= len(kept) <= steps
    assert shrink.failure(scenario, kept, peers).step == smallest.step


def test_too_much_is_noticed_too(peers, monkeypatch):
    """A model that leaves a line out stands for a program that prints one too many."""
    monkeypatch.setattr(model.engine.texts, "QUERY_TOO_SHORT", b"%.0s")
    scenario = Scenario(b"127.0.0.2\n", None, (Query(CLIENT, bytes(11)),))
    with pytest.raises(Difference, match="query too short"):
        Lockstep(scenario, None, peers).run()


def test_a_datagram_too_much_is_noticed(peers, monkeypatch):
    monkeypatch.setattr(model.engine, "Sent", lambda *_: pytest.fail("nothing is sent in this test"))
    monkeypatch.setattr(model.engine.Engine, "_answer", lambda *_: 0)
    scenario = Scenario(None, b"a:1.2.3.4\n", (Query(CLIENT, b"\1\2" + HEADER + b"\1b\0\0\1\0\1"),))
    with pytest.raises(Difference, match="unexpected datagram came to 127.0.0.1:20001"):
        Lockstep(scenario, None, peers).run()


def hits(number):
    return Burst((Query(CLIENT, b"\x55\xaa" + HEADER + b"\1h\0\0\1\0\1"),) * number)


def test_numbers_wrap_onto_a_request_in_flight(peers):
    """The pending request is asked again, the new one is lost; the answer goes to the first application."""
    pending = Query(CLIENT, b"\xab\xcd" + HEADER + b"\1p\0\0\1\0\1")
    late = Query(OTHER_CLIENT, b"\x12\x34" + HEADER + b"\1q\0\0\1\0\1")
    answer = Response(SERVER, bytes.fromhex("0000 8180 0001 0001 0000 0000 01020304"))
    steps = (pending, *[hits(64)] * 1023, hits(63), late, answer, answer, late)
    scenario = Scenario(b"127.0.0.2\n", b"h:10.0.0.1\n", steps)
    assert Lockstep(scenario, None, peers).run() == len(steps)
