"""dnsperf, and what it reports."""

import dataclasses
import re
import statistics
import subprocess

from . import accounting, programs

OUTSTANDING = 100
_ANSWER = re.compile(r"^> \S+ \S+ \S+ ([0-9.]+)$", re.MULTILINE)


@dataclasses.dataclass(frozen=True)
class Sample:
    """One run: CPU microseconds per answered query, answered queries a second, and how many were lost."""

    cpu_us: float
    per_second: float
    answered: int
    lost: int
    user_share: float


def _dnsperf(query_file, seconds, *options):
    command = ["dnsperf", "-s", "127.0.0.1", "-d", str(query_file), "-l", f"{seconds:g}", "-t", "1", *options]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def _number(report, label):
    return float(re.search(rf"{label}:\s+([0-9.]+)", report).group(1))


def at_saturation(process, query_file, seconds):
    """One client with 100 queries outstanding, as fast as they are answered."""
    cpu, split = accounting.cpu_seconds(process.pid), accounting.user_and_system_seconds(process.pid)
    report = _dnsperf(query_file, seconds, "-c", "1", "-q", str(OUTSTANDING))
    cpu = accounting.cpu_seconds(process.pid) - cpu
    after = accounting.user_and_system_seconds(process.pid)
    user, system = after[0] - split[0], after[1] - split[1]
    answered = int(_number(report, "Queries completed"))
    if answered == 0:
        raise programs.NotServing(f"{process.args[0]} answered nothing.")
    return Sample(
        cpu_us=cpu / answered * 1e6,
        per_second=_number(report, "Queries per second"),
        answered=answered,
        lost=int(_number(report, "Queries lost")),
        user_share=user / max(user + system, 1e-9),
    )


def latency_at(rate, query_file, seconds):
    """Microseconds from query to answer at a steady rate: mean and the 99th of a hundred."""
    report = _dnsperf(query_file, seconds, "-c", "1", "-Q", str(rate), "-v")
    values = sorted(float(value) * 1e6 for value in _ANSWER.findall(report))
    return {"mean_us": statistics.fmean(values), "p99_us": values[int(len(values) * 0.99)], "answers": len(values)}
