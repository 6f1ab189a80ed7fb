"""Differences and lives, written for whoever has to find the reason."""

import difflib

from .scenario import Burst, Query

HEX_BYTES_SHOWN = 96


def hex_of(datagram):
    shown = datagram[:HEX_BYTES_SHOWN].hex(" ")
    more = len(datagram) - HEX_BYTES_SHOWN
    return f"{shown} ... {more} bytes more" if more > 0 else shown or "(empty)"


def address(source):
    return f"{source[0]}:{source[1]}"


def _lines(trace):
    return [repr(line)[2:-1] for line in trace.split(b"\n")]


def trace_difference(expected, printed):
    difference = difflib.unified_diff(_lines(expected), _lines(printed), "expected", "printed", lineterm="", n=2)
    return "\n".join(["the trace differs", *difference])


def missing_datagram(sent):
    return f"no datagram came to {address(sent.destination)}, expected {hex_of(sent.datagram)}"


def unexpected_datagram(receiver, datagram):
    return f"an unexpected datagram came to {address(receiver)}: {hex_of(datagram)}"


def datagram_difference(sent, received):
    pairs = enumerate(zip(sent.datagram, received))
    first = next((at for at, (one, other) in pairs if one != other), min(len(sent.datagram), len(received)))
    return "\n".join(
        [
            f"a datagram to {address(sent.destination)} differs from offset {first} on",
            f"  expected {len(sent.datagram)} bytes: {hex_of(sent.datagram)}",
            f"  received {len(received)} bytes: {hex_of(received)}",
        ]
    )


def _file(name, content):
    if content is None:
        return f"  file {name}: missing"
    shown = repr(content)[1:]
    return f"  file {name}: {shown if len(shown) < 2000 else shown[:2000] + ' ...'}"


def _query(query):
    return f"query from {address(query.source)}, {len(query.datagram)} bytes: {hex_of(query.datagram)}"


def _step(step):
    if isinstance(step, Query):
        return _query(step)
    if isinstance(step, Burst):
        return "\n    ".join([f"{len(step.queries)} queries at once:", *map(_query, step.queries)])
    to = f" to the query of step {step.answers[0]}" if step.answers else ""
    return f"response from {address(step.source)}{to}, {len(step.datagram)} bytes: {hex_of(step.datagram)}"


def scenario(life, kept):
    """The files and the steps that are played, one a line."""
    lines = [_file("dns", life.dns), _file("hostmap", life.hostmap)]
    if life.port_is_taken:
        lines.append("  port 53 is taken")
    return "\n".join(lines + [f"  step {position}: {_step(life.steps[position])}" for position in kept])
