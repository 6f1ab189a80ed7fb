"""System calls per answered query, counted by strace over all threads while there is always work."""

import subprocess
import time

from . import load, places, programs

_ATTACH_DEADLINE_SECONDS = 10


def _wait_until_attached(report):
    deadline = time.monotonic() + _ATTACH_DEADLINE_SECONDS
    while "attached" not in report.read_text():
        if time.monotonic() > deadline:
            raise programs.NotServing("strace did not attach.")
        time.sleep(0.01)


def per_query(scenario, program, seconds, say):
    """Calls per answered query, by name, and their sum under "all"."""
    counts_file = places.work_folder() / "strace.counts"
    said_file = places.work_folder() / "strace.said"
    with programs.upstream(scenario.manners), programs.running(program, scenario) as process:
        with open(said_file, "w", encoding="utf-8") as said:
            command = ["strace", "-f", "-c", "-U", "name,calls", "-o", counts_file, "-p", str(process.pid)]
            tracer = subprocess.Popen([str(part) for part in command], stderr=said)
        _wait_until_attached(said_file)
        sample = load.at_saturation(process, scenario.query_file(), seconds)
        tracer.terminate()
        tracer.wait()
    rows = [line.split() for line in counts_file.read_text().splitlines()]
    calls = {row[0]: int(row[1]) for row in rows if len(row) == 2 and row[1].isdigit()}
    calls["all"] = calls.pop("total")
    say(f"{scenario.title}: system calls of {program.name}")
    return {name: count / sample.answered for name, count in calls.items()}
