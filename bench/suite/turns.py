"""Programs that take turns: each round runs every program once, and a ratio compares one round's runs."""

import statistics

from . import load, programs


def take_turns(scenario, contestants, rounds, seconds, say):
    """Every program's samples, one a round, under its name. The order turns round by one each time."""
    samples = {program.name: [] for program in contestants}
    query_file = scenario.query_file()
    with programs.upstream(scenario.manners):
        for number in range(rounds):
            shift = number % len(contestants)
            for program in contestants[shift:] + contestants[:shift]:
                with programs.running(program, scenario) as process:
                    samples[program.name].append(load.at_saturation(process, query_file, seconds))
            say(f"{scenario.title}: round {number + 1} of {rounds}")
    return samples


def ratio(samples, of, to):
    """The median over the rounds of one program's CPU per query to another's, with the extremes."""
    values = [one.cpu_us / other.cpu_us for one, other in zip(samples[of], samples[to])]
    return {"median": statistics.median(values), "least": min(values), "most": max(values)}


def median(samples, name, field):
    return statistics.median(getattr(sample, field) for sample in samples[name])


def summary(samples):
    """The medians of every program, ready for JSON."""
    return {
        name: {
            "cpu_us": median(samples, name, "cpu_us"),
            "per_second": median(samples, name, "per_second"),
            "user_share": median(samples, name, "user_share"),
            "lost": sum(sample.lost for sample in runs),
            "cpu_us_runs": [sample.cpu_us for sample in runs],
        }
        for name, runs in samples.items()
    }
