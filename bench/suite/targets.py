"""The figures to reach: CPU per query as a ratio, and the figures that noise does not touch.

A proxy whose trace goes to a file or a pipe is compared with a bare loop that writes as many bytes to the
same place, once per event; with the trace to /dev/null, with the bare loop that writes nothing. The other
reading of each stands in the full tables.
"""

import dataclasses

from . import turns


@dataclasses.dataclass(frozen=True)
class RatioTarget:
    title: str
    proxy: str
    other: str
    hit: float
    forward: float


RATIOS = (
    RatioTarget("trace to /dev/null, to the bare loop", "proxy/null", "bare", 1.15, 1.15),
    RatioTarget("trace to a file, to the bare loop that writes as much", "proxy/file", "bare+trace/file", 1.22, 1.15),
    RatioTarget("trace to a pipe, to the bare loop that writes as much", "proxy/pipe", "bare+trace/pipe", 1.22, 1.25),
    RatioTarget("trace to a file, to dnsmasq with its query log", "proxy/file", "dnsmasq+log", 0.45, 0.42),
    RatioTarget("trace to a file, to unbound with its query log", "proxy/file", "unbound+log", 0.65, 0.42),
    RatioTarget("trace to a file, to dnsdist with its query log", "proxy/file", "dnsdist+log", 0.93, 1.0),
)

CALLS_PER_QUERY = {"hit": 3.2, "forward": 6.5}
FUTEX_CALLS_PER_QUERY = 0.1
IDLE_MEGABYTES = 4.0
KILOBYTES_PER_QUERY_IN_FLIGHT = 4.5
MILLION_NAMES_SECONDS = 0.7
MILLION_NAMES_MEGABYTES = 240.0
COPY_OF_160_METHODS_MICROSECONDS = 0.6


def ratio_rows(samples_by_scenario):
    """(title, scenario name, ratio, limit) of every ratio that was measured."""
    for target in RATIOS:
        for scenario, limit in (("hit", target.hit), ("forward", target.forward)):
            samples = samples_by_scenario.get(scenario, {})
            if target.proxy in samples and target.other in samples:
                yield target.title, scenario, turns.ratio(samples, target.proxy, target.other), limit
