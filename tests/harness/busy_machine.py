"""Tests of what has time limits of its own, such as the second within which a server must answer: nothing that a
test waits for makes them longer. Where a busy machine may have made it miss one, a test that failed is begun anew.

For those with the mark `in_its_time`; to be called by a conftest's pytest_configure.
"""

import os
import time

from _pytest.runner import runtestprotocol

MARK = "in_its_time"
MOST_TRIES = 5
SECONDS_OF_WORK = 0.2
MOST_WAITING = 0.25  # of the time in which the work is done


def is_busy():
    """Whether a process has to wait for a processor now, or has had to for the last minute."""
    begin, worked = time.monotonic(), time.thread_time()
    while time.thread_time() - worked < SECONDS_OF_WORK:
        pass
    seconds = time.monotonic() - begin
    return seconds - SECONDS_OF_WORK > MOST_WAITING * seconds or os.getloadavg()[0] > (os.cpu_count() or 1)


class _Tries:
    @staticmethod
    def pytest_runtest_protocol(item, nextitem):
        """In the place of pytest's own, for one test with the mark: what its last try has shown is reported."""
        if item.get_closest_marker(MARK) is None:
            return None
        item.ihook.pytest_runtest_logstart(nodeid=item.nodeid, location=item.location)
        for number in range(1, MOST_TRIES + 1):
            reports = runtestprotocol(item, nextitem=nextitem, log=False)
            if not any(report.failed for report in reports) or number == MOST_TRIES or not is_busy():
                break
            item.user_properties[:] = [("tries on a busy machine", number + 1)]
            item._initrequest()  # its fixtures are made anew
        for report in reports:
            item.ihook.pytest_runtest_logreport(report=report)
        item.ihook.pytest_runtest_logfinish(nodeid=item.nodeid, location=item.location)
        return True


def may_try_again(config):
    """Before the session: tests with the mark get more than one try while the machine is busy."""
    config.addinivalue_line("markers", f"{MARK}: has time limits of its own, which a busy machine may have missed")
    config.pluginmanager.register(_Tries, "busy_machine")
