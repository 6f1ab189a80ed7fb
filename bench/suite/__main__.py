"""Runs the suite; bench/run has installed and built what it needs."""

import argparse
import dataclasses
import pathlib
import sys
import time

from . import accounting, against, growth, latency, micro, peers, places, plot, programs, report, scenarios, sinks, syscalls
from . import turns, yardsticks

sys.path.append(str(places.REPOSITORY / "tests"))
from harness import namespace  # noqa: E402


@dataclasses.dataclass(frozen=True)
class Plan:
    """How long and how often."""

    rounds: int
    seconds: float
    further: tuple
    further_rounds: int
    further_seconds: float
    latency_seconds: float
    repeats: int
    micro_seconds: float
    micro_repetitions: int
    strace_seconds: float


FULL = Plan(15, 0.8, scenarios.FURTHER, 7, 0.8, 4.0, 5, 0.1, 5, 3.0)
QUICK = Plan(1, 0.5, (scenarios.SECOND, scenarios.NO_NAME, scenarios.REVERSE), 1, 0.5, 0.4, 1, 0.01, 1, 0.5)


def _contestants(scenario, binary, with_peers):
    size = yardsticks.trace_size(scenario, programs.proxy("file", binary))
    proxies = [programs.proxy(sink, binary) for sink in sinks.NAMES]
    bare = [yardsticks.bare(scenario)] + [yardsticks.bare(scenario, size, sink) for sink in sinks.NAMES]
    return bare + proxies + (peers.every_peer() if with_peers else [])


def _measure_cpu(plan, binary, say):
    samples, delays = {}, {}
    for scenario in (*scenarios.MAIN, *plan.further):
        main = scenario in scenarios.MAIN
        with programs.upstream(scenario.manners):
            contestants = _contestants(scenario, binary, with_peers=main)
        rounds, seconds = (
            (plan.rounds, plan.seconds) if main else (plan.further_rounds, plan.further_seconds)
        )
        samples[scenario.name] = turns.take_turns(scenario, contestants, rounds, seconds, say)
        if main:
            delays[scenario.name] = latency.measure(scenario, contestants, plan.latency_seconds, say)
    return samples, delays


def run(plan, binary, say):
    samples, delays = _measure_cpu(plan, binary, say)
    traced = [programs.proxy(sink, binary) for sink in sinks.NAMES]
    results = {
        "about": {"rounds": plan.rounds, "seconds": plan.seconds, "processor": accounting.processor()},
        "cpu": {name: turns.summary(runs) for name, runs in samples.items()},
        "latency": delays,
        "syscalls": {
            scenario.name: {p.name: syscalls.per_query(scenario, p, plan.strace_seconds, say) for p in traced}
            for scenario in scenarios.MAIN
        },
        "host_maps": [
            growth.host_map(size, binary, plan.repeats, plan.seconds, say) for size in growth.HOST_MAP_SIZES
        ],
        "in_flight": [growth.in_flight(size, binary, say) for size in growth.IN_FLIGHT_SIZES],
        "servers": [
            growth.servers(count, binary, plan.repeats, plan.seconds, say) for count in growth.SERVER_COUNTS
        ],
        "micro": micro.measure(plan.micro_seconds, plan.micro_repetitions, say),
    }
    report.write(results, samples)
    plot.write(results["cpu"])


def main():
    parser = argparse.ArgumentParser(prog="bench/run", description="Measures the proxy against its yardsticks.")
    parser.add_argument("--quick", action="store_true", help="one short round of everything, in 90 seconds")
    parser.add_argument("--binary", type=pathlib.Path, default=places.PROXY, help="the proxy to measure")
    parser.add_argument("--against", type=pathlib.Path, help="an earlier build of it: the two in turn, nothing else")
    parser.add_argument("--rounds", type=int, default=15, help="how often each takes its turn against the other")
    arguments = parser.parse_args()
    begin = time.monotonic()

    def say(what):
        print(f"{time.monotonic() - begin:6.0f} s  {what}", file=sys.stderr)

    namespace.enter_or_exit()
    if arguments.against:
        builds = {"then": arguments.against.resolve(), "now": arguments.binary.resolve()}
        against.run(builds, arguments.rounds, FULL.seconds, say)
        return
    run(QUICK if arguments.quick else FULL, arguments.binary.resolve(), say)
    print(f"The results are in {places.RESULTS.relative_to(places.REPOSITORY)}: results.md, results.json, cpu_per_query.svg")


main()
