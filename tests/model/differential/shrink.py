"""The smallest part of a failing life that still fails."""

from .lockstep import Difference, Lockstep

# Most candidates that fail do so by something that never comes, so waiting is what takes the time.
SHRINKING_DEADLINE = 2.0


def failure(scenario, kept, peers, deadline=None):
    """The Difference that these steps lead to, or None. Leaves the peers empty."""
    try:
        Lockstep(scenario, kept, peers, deadline).run()
        return None
    except Difference as difference:
        return difference
    finally:
        peers.drain()


def prefix(scenario, difference):
    """The steps up to the one where a difference was seen."""
    count = difference.step + 1 if isinstance(difference.step, int) else len(scenario.steps)
    return [] if difference.step == "start" else list(range(count))


def shortest_prefix(scenario, difference, peers):
    """(positions, their difference): the life's beginning that fails while one a step shorter does not.

    It may be shorter than the place of the difference: every life ends with a datagram of the driver's own.
    """
    shown, hidden = len(prefix(scenario, difference)), -1
    while shown - hidden > 1:
        middle = (shown + hidden) // 2
        found = failure(scenario, range(middle), peers, SHRINKING_DEADLINE)
        if found:
            shown, difference = middle, found
        else:
            hidden = middle
    return list(range(shown)), difference


def without(kept, start, size):
    return kept[:start] + kept[start + size :]


def smallest(scenario, kept, difference, peers):
    """(positions kept, the difference that they lead to). Halves of `kept` first, then smaller pieces, then
    single steps."""
    size = max(1, len(kept) // 2)
    while kept:
        start, removed = 0, False
        while start < len(kept):
            candidate = without(kept, start, size)
            found = failure(scenario, candidate, peers, SHRINKING_DEADLINE)
            if found:
                kept, difference, removed = candidate, found, True
            else:
                start += size
        if size == 1 and not removed:
            break
        size = max(1, size // 2)
    return kept, difference
