"""Deadlines, and waits for states that the system reports no event for."""

import os
import time

from .commands import CannotTest

DEADLINE_VARIABLE = "DNS_PROXY_DEADLINE"
DEFAULT_DEADLINE_SECONDS = 5.0
LONGEST_DEADLINE_SECONDS = 3600
POLL_SECONDS = 0.001
LONGEST_POLL_SECONDS = 0.1


def deadline_seconds():
    """How long an expected event may take. A sanitizer-built program is given more by the environment."""
    text = os.environ.get(DEADLINE_VARIABLE, "")
    try:
        seconds = float(text or DEFAULT_DEADLINE_SECONDS)
    except ValueError:
        seconds = 0
    if not 0 < seconds < LONGEST_DEADLINE_SECONDS:
        raise CannotTest(f"{DEADLINE_VARIABLE} is a number of seconds, not {text!r}.")
    return seconds


def wait_at_least(seconds):
    """Deadlines are no shorter from here on, in the commands that are started too: for events that take longer than
    an answer."""
    os.environ[DEADLINE_VARIABLE] = f"{max(seconds, deadline_seconds()):g}"


def wait_until(condition, what):
    """Returns as soon as the condition holds; AssertionError naming `what` past the deadline.

    Only for what no descriptor can report: the end of a thread of another process, a growing file. A condition that
    takes its time, for another program that it asks, is tried a third of the time at most.
    """
    end = time.monotonic() + deadline_seconds()
    begin = time.monotonic()
    while not condition():
        tried = time.monotonic()
        if tried > end:
            raise AssertionError(f"waited {deadline_seconds():g} s in vain for: {what}")
        time.sleep(min(max(POLL_SECONDS, 2 * (tried - begin)), LONGEST_POLL_SECONDS))
        begin = time.monotonic()
