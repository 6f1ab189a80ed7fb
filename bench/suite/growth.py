"""What size costs: names in the host map, queries in flight, servers in the list."""

import dataclasses
import socket
import statistics
import subprocess
import time

from . import accounting, load, places, programs, scenarios

HOST_MAP_SIZES = (10, 10_000, 1_000_000)
IN_FLIGHT_SIZES = (1, 1_000, 20_000, 65_536)
SERVER_COUNTS = (1, 10, 160)
_IDS = 65_536
_UNDER_WAY = 64
_PATIENCE_SECONDS = 2
_WARM_UP_SECONDS = 0.2
_ASKED_AFTERWARDS = 200


def _asked_name(size, number):
    return scenarios.host_name(number * 7919 % size)


def host_map(size, binary, repeats, seconds, say):
    """Start to first answer, resident memory then, and CPU per hit on names all over the map."""
    asked = min(size, 50_000)
    scenario = dataclasses.replace(
        scenarios.HIT,
        name=f"hit_{size}",
        question=lambda n: f"{_asked_name(size, n)} A",
        questions=asked,
        host_names=size,
    )
    query_file = scenario.query_file()
    programs.write_configuration(size, [])
    starts, resident, cpu = [], [], []
    for _ in range(repeats):
        process = subprocess.Popen([binary], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        try:
            starts.append(programs.wait_until_serving(process, scenario.question(0)))
            resident.append(accounting.resident_bytes(process.pid) / 1e6)
            cpu.append(load.at_saturation(process, query_file, seconds).cpu_us)
        finally:
            programs.end(process)
    say(f"host map of {size} names")
    return {
        "names": size,
        "start_seconds": statistics.median(starts),
        "resident_megabytes": statistics.median(resident),
        "cpu_us": statistics.median(cpu),
    }


def _answer_time(application, question, identifier):
    """Microseconds until the answer; None when there is none."""
    begin = time.monotonic()
    application.send(programs.query(question, identifier))
    try:
        application.recv(65535)
    except TimeoutError:
        return None
    return (time.monotonic() - begin) * 1e6


def _fill(application, server, scenario, size):
    """Puts so many queries in flight, never more under way than the sockets hold: they have arrived at
    the silent server before the next ones are sent."""
    for first in range(0, size, _UNDER_WAY):
        several = range(first, min(first + _UNDER_WAY, size))
        for number in several:
            application.send(programs.query(scenario.question(number), number))
        for _ in several:
            server.recv(65535)


def _udp_socket():
    result = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    result.settimeout(_PATIENCE_SECONDS)
    return result


def in_flight(size, binary, say):
    """Memory per query that waits for a silent server, and how soon a host-map name is answered then.

    Counted from a proxy that has already been busy, so that its buffers are not counted as queries.
    With 65,536 in flight every id is taken, and a query that meets an id in flight is lost: then no answer
    is what is to be seen.
    """
    scenario = dataclasses.replace(scenarios.FORWARD, manners=("silent",))
    host_question = f"{scenarios.host_name(0)} A"
    programs.write_configuration(scenario.host_names, scenario.servers())
    with _udp_socket() as server, _udp_socket() as application:
        server.bind((scenarios.FIRST_SERVER, 53))
        process = subprocess.Popen([binary], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        try:
            programs.wait_until_serving(process, host_question)
            application.connect(("127.0.0.1", 53))
            load.at_saturation(process, scenarios.HIT.query_file(), _WARM_UP_SECONDS)
            before = accounting.resident_bytes(process.pid)
            _fill(application, server, scenario, size)
            grown = accounting.resident_bytes(process.pid) - before
            times = [_answer_time(application, host_question, 0)]
            while times[0] is not None and len(times) < _ASKED_AFTERWARDS and len(times) + size < _IDS:
                times.append(_answer_time(application, host_question, len(times)))
        finally:
            programs.end(process)
    say(f"{size} queries in flight")
    answered = times[0] is not None
    return {
        "queries": size,
        "idle_megabytes": before / 1e6,
        "kilobytes_per_query": grown / size / 1e3,
        "host_answer_mean_us": statistics.fmean(times) if answered else None,
        "host_answer_most_us": max(times) if answered else None,
    }


def servers(count, binary, repeats, seconds, say):
    """CPU per forwarded query with so many servers in the list, the first of which answers."""
    manners = ("answer",) + ("silent",) * (count - 1)
    scenario = dataclasses.replace(scenarios.FORWARD, manners=manners)
    program = programs.proxy("null", binary)
    query_file = scenario.query_file()
    cpu = []
    with programs.upstream(manners):
        for _ in range(repeats):
            with programs.running(program, scenario) as process:
                cpu.append(load.at_saturation(process, query_file, seconds).cpu_us)
    say(f"{count} servers")
    return {"servers": count, "cpu_us": statistics.median(cpu)}
