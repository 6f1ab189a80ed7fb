"""How long an answer takes at 2,000 queries a second."""

from . import load, programs

RATE = 2000


def measure(scenario, contestants, seconds, say):
    """Mean and 99th percentile, in microseconds, of every program under its name."""
    results = {}
    query_file = scenario.query_file()
    with programs.upstream(scenario.manners):
        for program in contestants:
            with programs.running(program, scenario):
                results[program.name] = load.latency_at(RATE, query_file, seconds)
    say(f"{scenario.title}: latency at {RATE} queries a second")
    return results
