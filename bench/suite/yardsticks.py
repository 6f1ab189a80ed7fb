"""The bare loops: what the system calls of a query cost without a forwarder around them."""

import dataclasses
import re

from . import load, places, programs, sinks

_QUERY_BEGINS = b"func: thread_query(line:282)"
_RESPONSE_BEGINS = b"func: thread_answer(line:239)"
_CALIBRATION_SECONDS = 0.3


@dataclasses.dataclass(frozen=True)
class TraceSize:
    """Bytes that the proxy prints for one query of a scenario, and for one response of a server."""

    query: int
    response: int


def trace_size(scenario, proxy_to_file):
    """Reads the sizes off a short run: each thread's lines run from its wait to its next wait, and the
    quotient is right in the mean even where the two threads' lines interleave."""
    with programs.running(proxy_to_file, scenario) as process:
        sample = load.at_saturation(process, scenario.query_file(), _CALIBRATION_SECONDS)
    trace = sinks.file_bytes()
    events = re.split(b"(?=" + re.escape(_QUERY_BEGINS) + b"|" + re.escape(_RESPONSE_BEGINS) + b")", trace)
    queries = [len(event) for event in events if event.startswith(_QUERY_BEGINS)]
    responses = [len(event) for event in events if event.startswith(_RESPONSE_BEGINS)]
    if not queries:
        raise programs.NotServing(f"The proxy printed nothing for {sample.answered} queries.")
    return TraceSize(sum(queries) // len(queries), sum(responses) // len(responses) if responses else 0)


def bare(scenario, size=None, sink="null"):
    """The bare loop for a scenario; with a `size`, it writes so much once per event."""

    def command(asked):
        sizes = [] if size is None else [size.query, size.response]
        if asked.hops == 0:
            return [places.TOOLS / "bare_answer", asked.extra, *sizes[:1]]
        first, second, *_ = [*asked.servers(), "-"]
        return [places.TOOLS / "bare_relay", first, second, *sizes]

    if size is None:
        return programs.Program("bare", "bare loop", command)
    return programs.Program(f"bare+trace/{sink}", f"bare loop that writes, to {sinks.TITLES[sink]}", command, sink)
