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
    """The steps up to the one that differed."""
    count = difference.step + 1 if isinstance(difference.step, int) else len(scenario.steps)
    return [] if difference.step == "start" else list(range(count))


def without(kept, start, size):
    return kept[:start] + kept[start + size :]


def smallest(scenario, difference, peers):
    """(positions kept, the difference that they lead to). Halves first, then smaller pieces, then single steps."""
    kept = prefix(scenario, difference)
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
