"""What a process has cost, from the system's own books."""

import os
import pathlib
import time

_SCHEDULER_CLOCK = 2
_PAGE = os.sysconf("SC_PAGE_SIZE")
_TICK = os.sysconf("SC_CLK_TCK")


def cpu_seconds(pid):
    """CPU time of all threads of the process, ended ones too, user and system together.

    This is the process's CPU clock (clock_getcpuclockid), which counts the scheduler's nanoseconds; the
    10 ms ticks of /proc/PID/stat are too coarse for a short run.
    """
    return time.clock_gettime((~pid << 3) | _SCHEDULER_CLOCK)


def user_and_system_seconds(pid):
    """How the same time divides, in ticks of 10 ms."""
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
    return int(fields[11]) / _TICK, int(fields[12]) / _TICK


def resident_bytes(pid):
    return int(pathlib.Path(f"/proc/{pid}/statm").read_text().split()[1]) * _PAGE


def processor():
    """The processor's name: how dear a system call is, and with it every ratio, depends on it."""
    lines = pathlib.Path("/proc/cpuinfo").read_text().splitlines()
    names = [line.partition(":")[2].strip() for line in lines if line.startswith("model name")]
    return f"{names[0] if names else 'unknown processor'}, {os.cpu_count()} of them"
