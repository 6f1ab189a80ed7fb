"""The results as one Markdown file and one JSON file."""

import json

from . import latency, places, scenarios, targets

_SCENARIO_TITLES = {s.name: s.title for s in (*scenarios.MAIN, *scenarios.FURTHER)}


def _table(heads, rows):
    lines = [f"| {' | '.join(heads)} |", f"|{'|'.join('---' for _ in heads)}|"]
    lines += [f"| {' | '.join(str(cell) for cell in row)} |" for row in rows]
    return "\n".join(lines)


def _verdict(value, limit):
    return "yes" if value <= limit else "no"


def _ratio_section(samples_by_scenario):
    rows = [
        (title, _SCENARIO_TITLES[name], f"{r['median']:.2f}", f"{r['least']:.2f} to {r['most']:.2f}", limit,
         _verdict(r["median"], limit))
        for title, name, r, limit in targets.ratio_rows(samples_by_scenario)
    ]  # fmt: skip
    return _table(("CPU per query, as a ratio", "scenario", "median", "runs", "limit", "reached"), rows)


def _fixed_rows(results):
    for name, programs in results["syscalls"].items():
        calls = programs["proxy/null"]
        yield f"system calls per query, {_SCENARIO_TITLES[name]}", calls["all"], targets.CALLS_PER_QUERY[name]
        futex = calls.get("futex", 0.0)
        yield f"futex calls per query, {_SCENARIO_TITLES[name]}", futex, targets.FUTEX_CALLS_PER_QUERY
    for row in results["in_flight"]:
        if row["queries"] == 1:
            yield "resident memory idle, MB", row["idle_megabytes"], targets.IDLE_MEGABYTES
        else:
            title = f"memory per query, {row['queries']:,} in flight, KB"
            yield title, row["kilobytes_per_query"], targets.KILOBYTES_PER_QUERY_IN_FLIGHT
    for row in results["host_maps"]:
        if row["names"] == 1_000_000:
            yield "a million host names ready, s", row["start_seconds"], targets.MILLION_NAMES_SECONDS
            yield "a million host names, MB resident", row["resident_megabytes"], targets.MILLION_NAMES_MEGABYTES
    copy = results["micro"].get("CopyMethods/160")
    if copy:
        yield "copy of 160 methods, us", copy["median_ns"] / 1e3, targets.COPY_OF_160_METHODS_MICROSECONDS


def _fixed_section(results):
    rows = [(title, f"{value:.2f}", limit, _verdict(value, limit)) for title, value, limit in _fixed_rows(results)]
    return _table(("figure", "measured", "limit", "reached"), rows)


def _cpu_section(results):
    rows = []
    for name, programs in results["cpu"].items():
        bare = programs["bare"]["cpu_us"]
        for program, row in programs.items():
            delay = results["latency"].get(name, {}).get(program)
            rows.append((
                _SCENARIO_TITLES[name], program, f"{row['cpu_us']:.2f}", f"{row['cpu_us'] / bare:.2f}",
                f"{row['user_share'] * 100:.0f} %", f"{row['per_second']:,.0f}", row["lost"],
                f"{delay['mean_us']:.0f}" if delay else "", f"{delay['p99_us']:.0f}" if delay else "",
            ))  # fmt: skip
    heads = ("scenario", "program", "CPU us a query", "to bare", "user", "queries a second", "lost")
    return _table((*heads, f"mean us at {latency.RATE}/s", "p99 us"), rows)


def _growth_section(results):
    maps = [
        (f"{r['names']:,}", f"{r['start_seconds']:.3f}", f"{r['resident_megabytes']:.1f}", f"{r['cpu_us']:.2f}")
        for r in results["host_maps"]
    ]
    flights = [
        (f"{r['queries']:,}", f"{r['kilobytes_per_query']:.2f}",
         "none: every id is taken" if r["host_answer_mean_us"] is None
         else f"{r['host_answer_mean_us']:.0f}, at most {r['host_answer_most_us']:.0f}")
        for r in results["in_flight"]
    ]  # fmt: skip
    lists = [(r["servers"], f"{r['cpu_us']:.2f}") for r in results["servers"]]
    return "\n\n".join((
        _table(("host names", "start to first answer, s", "resident, MB", "CPU us a hit"), maps),
        _table(("in flight at a silent server", "KB a query", "host-map answer then, us"), flights),
        _table(("servers in the list", "CPU us a forward"), lists),
    ))  # fmt: skip


def _calls_section(results):
    rows = []
    for name, programs in results["syscalls"].items():
        for program, calls in programs.items():
            listed = ", ".join(f"{call} {count:.3f}" for call, count in calls.items() if call != "all" and count > 0.0005)
            rows.append((_SCENARIO_TITLES[name], program, f"{calls['all']:.2f}", listed))
    return _table(("scenario", "program", "calls a query", "of which"), rows)


def _micro_section(results):
    rows = [(name, f"{t['median_ns']:.1f}", f"{t['least_ns']:.1f}") for name, t in results["micro"].items()]
    return _table(("operation", "median ns", "least ns"), rows)


def markdown(results, samples_by_scenario):
    about = results["about"]
    return "\n\n".join((
        "# Results of bench/run",
        f"{about['rounds']} rounds of {about['seconds']:g} s a program, all programs in turn, on {about['processor']}. "
        "CPU time is the process's CPU clock, all threads; ratios are medians over the rounds.",
        "## The figures to reach",
        _ratio_section(samples_by_scenario),
        _fixed_section(results),
        "## CPU per answered query at saturation, and latency",
        _cpu_section(results),
        "## Growth",
        _growth_section(results),
        "## System calls per query, under strace",
        _calls_section(results),
        "## Micro-benchmarks, CPU time",
        _micro_section(results),
        "",
    ))  # fmt: skip


def write(results, samples_by_scenario):
    (places.RESULTS / "results.json").write_text(json.dumps(results, indent=1) + "\n")
    (places.RESULTS / "results.md").write_text(markdown(results, samples_by_scenario))
