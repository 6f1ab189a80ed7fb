"""The micro-benchmarks, as Google Benchmark reports them."""

import json
import subprocess

from . import places


def measure(min_time, repetitions, say):
    """Nanoseconds of CPU time per operation: of so many repetitions, the median and the least."""
    path = places.work_folder() / "micro.json"
    command = [
        places.TOOLS / "micro",
        f"--benchmark_min_time={min_time:g}",
        f"--benchmark_repetitions={repetitions}",
        f"--benchmark_out={path}",
        "--benchmark_out_format=json",
    ]
    subprocess.run([str(part) for part in command], check=True, capture_output=True)
    runs = {}
    for row in json.loads(path.read_text())["benchmarks"]:
        if row["run_type"] == "iteration":
            runs.setdefault(row["run_name"], []).append(row["cpu_time"])
    say("micro-benchmarks")
    return {
        name: {"median_ns": sorted(times)[len(times) // 2], "least_ns": min(times)} for name, times in runs.items()
    }
