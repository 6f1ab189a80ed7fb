"""Deadlines, and waits for states that the system reports no event for."""

import os
import time

DEADLINE_VARIABLE = "DNS_PROXY_DEADLINE"
DEFAULT_DEADLINE_SECONDS = 5.0
POLL_SECONDS = 0.001


def deadline_seconds():
    """How long an expected event may take. A sanitizer-built program is given more by the environment."""
    return float(os.environ.get(DEADLINE_VARIABLE, DEFAULT_DEADLINE_SECONDS))


def wait_until(condition, what):
    """Returns as soon as the condition holds; AssertionError naming `what` past the deadline.

    Only for what no descriptor can report: the end of a thread of another process, a growing file.
    """
    end = time.monotonic() + deadline_seconds()
    while not condition():
        if time.monotonic() > end:
            raise AssertionError(f"waited {deadline_seconds():g} s in vain for: {what}")
        time.sleep(POLL_SECONDS)
