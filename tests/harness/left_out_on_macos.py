"""Tests whose means macOS does not have are left out there, each with a line that says why."""

import inspect
import sys

REASONS = {
    "failing_": "a process's system calls cannot be made to fail from outside",
    "thread_limit": "threads cannot be limited for one process",
    "as_user": "capabilities are Linux's",
    "/dev/full": "there is no device that is always full",
    "/proc/": "there is no /proc",
    "strace": "there is no strace",
    "unshare": "there are no namespaces",
    "send_from_port_zero": "a raw datagram cannot be sent with a header of one's own to loopback",
}


def reason_against(test):
    """Why this test function cannot run; None when it can."""
    source = inspect.getsource(test)
    return next((reason for means, reason in REASONS.items() if means in source), None)


def leave_out(config, items, cases=None):
    """To be called by a conftest's pytest_collection_modifyitems. Does nothing on Linux.

    `cases`: the reasons against single cases of a test, by what is within the brackets of their names.
    """
    if sys.platform != "darwin":
        return
    against = {item: reason_against(item.function) or _against_case(item, cases or {}) for item in items}
    left_out = [item for item in items if against[item]]
    items[:] = [item for item in items if not against[item]]
    config.hook.pytest_deselected(items=left_out)
    for item in left_out:
        print(f"left out {item.nodeid}: {against[item]}")


def _against_case(item, cases):
    return cases.get(item.callspec.id) if hasattr(item, "callspec") else None
