"""A life of the proxy as data: the two files, then one datagram after the other."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Query:
    """A datagram from an application's (address, port) to port 53."""

    source: tuple
    datagram: bytes


@dataclass(frozen=True)
class Burst:
    """Queries sent one after the other without a wait. Together they fit the proxy's receive buffer."""

    queries: tuple


@dataclass(frozen=True)
class Response:
    """A datagram from (address, port) to the proxy's upstream socket.

    `answers`: the query that it answers, as (step, place in that step's burst or 0); its first two bytes
    are then replaced by the id that the proxy gave that query, so that the step keeps its meaning when
    earlier steps are left out.
    """

    source: tuple
    datagram: bytes
    answers: tuple = None


@dataclass(frozen=True)
class Scenario:
    """The files' bytes (None: missing) and the steps (Query, Burst, Response), each known by its position.

    `port_is_taken`: somebody else holds 127.0.0.1 port 53 from before the start.
    """

    dns: bytes
    hostmap: bytes
    steps: tuple
    port_is_taken: bool = False
