"""What the tests need to drive the real program: a private network, the program with its trace,
scripted upstream servers and applications, and bytes written as hex.

A process calls `namespace.enter()` once, before it starts a thread; everything else works inside.
"""

from .commands import CannotTest, OneSentenceParser
from .namespace import NamespaceError, enter
from .peers import Application, Upstream
from .proxy import BinaryMissing, Proxy, binary_path
from .trace import TraceMismatch
from .waiting import deadline_seconds, wait_at_least, wait_until
from .wire import from_hex, name_hex, query, raw_id

__all__ = [
    "Application",
    "BinaryMissing",
    "CannotTest",
    "NamespaceError",
    "OneSentenceParser",
    "Proxy",
    "TraceMismatch",
    "Upstream",
    "binary_path",
    "deadline_seconds",
    "enter",
    "from_hex",
    "name_hex",
    "query",
    "raw_id",
    "wait_at_least",
    "wait_until",
]
