"""Two builds of the proxy side by side, in alternating rounds: what a change of the code has cost or saved."""

import json
import statistics
import subprocess

from . import accounting, growth, places, programs, scenarios, syscalls, turns

_SINKS = ("null", "file")
_MILLION = 1_000_000
_IN_FLIGHT = 20_000


def _cpu(builds, rounds, seconds, say):
    """(row title, figure of each build, median ratio of the rounds, least, most)."""
    for scenario in (*scenarios.MAIN, scenarios.NO_NAME):
        contestants = [programs.proxy(sink, path, name) for sink in _SINKS for name, path in builds.items()]
        samples = turns.take_turns(scenario, contestants, rounds, seconds, say)
        for sink in _SINKS:
            then, now = (f"{name}/{sink}" for name in builds)
            ratio = turns.ratio(samples, now, then)
            medians = [turns.median(samples, name, "cpu_us") for name in (then, now)]
            title = f"CPU us a query, {scenario.title}, trace to {'/dev/null' if sink == 'null' else 'a file'}"
            yield title, *medians, ratio["median"], ratio["least"], ratio["most"]


def _calls(builds, seconds, say):
    for scenario in scenarios.MAIN:
        counted = [
            syscalls.per_query(scenario, programs.proxy("null", path, name), seconds, say)
            for name, path in builds.items()
        ]
        for call in ("all", "futex"):
            then, now = (calls.get(call, 0.0) for calls in counted)
            yield f"{'system' if call == 'all' else call} calls a query, {scenario.title}", then, now


def _start(binary, question):
    """CPU seconds, and megabytes resident, when the first answer of a million names comes."""
    process = subprocess.Popen([binary], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
    try:
        programs.wait_until_serving(process, question)
        return accounting.cpu_seconds(process.pid), accounting.resident_bytes(process.pid) / 1e6
    finally:
        programs.end(process)


def _starts(builds, rounds, say):
    programs.write_configuration(_MILLION, [])
    question = f"{scenarios.host_name(7)} A"
    runs = {name: [] for name in builds}
    for _ in range(rounds):
        for name, path in builds.items():
            runs[name].append(_start(path, question))
    say("starts with a million names")
    then, now = runs.values()
    seconds = [statistics.median(cpu for cpu, _ in several) for several in (then, now)]
    ratios = [new[0] / old[0] for old, new in zip(then, now)]
    yield "CPU s to start with a million names", *seconds, statistics.median(ratios), min(ratios), max(ratios)
    yield "MB resident with a million names", *(statistics.median(mb for _, mb in several) for several in (then, now))


def _memory(builds, say):
    rows = [growth.in_flight(_IN_FLIGHT, path, say) for path in builds.values()]
    yield "MB resident idle", *(row["idle_megabytes"] for row in rows)
    yield f"KB a query, {_IN_FLIGHT:,} in flight", *(row["kilobytes_per_query"] for row in rows)


def _text_size(path):
    return int(subprocess.run(["size", path], check=True, capture_output=True, text=True).stdout.split()[6])


def _cells(row):
    title, then, now, *ratio = row
    shown = [f"{value:,.0f}" if value >= 1000 else f"{value:.2f}" for value in (then, now)]
    if ratio:
        median, least, most = ratio
        return title, *shown, f"{median:.3f} ({least:.2f} to {most:.2f})"
    return title, *shown, f"{now / then:.3f}" if then else ""


def run(builds, rounds, seconds, say):
    """`builds` holds the earlier and the present proxy, by name, in this order."""
    rows = [("bytes of program text", *(_text_size(path) for path in builds.values()))]
    rows += list(_memory(builds, say))
    rows += list(_starts(builds, max(rounds // 3, 1), say))
    for scenario_rows in (_cpu(builds, rounds, seconds, say), _calls(builds, seconds, say)):
        rows += list(scenario_rows)
    lines = [f"| {accounting.processor()}, {rounds} rounds | {' | '.join(builds)} | ratio |", "|---|---|---|---|"]
    lines += [f"| {' | '.join(_cells(row))} |" for row in rows]
    (places.RESULTS / "against.md").write_text("\n".join(lines) + "\n")
    (places.RESULTS / "against.json").write_text(json.dumps(rows, indent=1) + "\n")
    print("\n".join(lines))
