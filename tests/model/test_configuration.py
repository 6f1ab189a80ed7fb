"""The model's reading of the two files, against literal contents."""

import pytest

from model.configuration import host_pair, lines_of, read
from model.trace_texts import Trace


@pytest.mark.parametrize(
    "content, lines",
    [
        (None, []),
        (b"", []),
        (b"192.0.2.1", [b"192.0.2.1"]),
        (b"192.0.2.1\n", [b"192.0.2.1"]),
        (b"192.0.2.1\n\n", [b"192.0.2.1", b""]),
        (b"\n", [b""]),
        (b"192.0.2.1\r\n", [b"192.0.2.1\r"]),
    ],
)
def test_a_line_end_makes_no_further_line(content, lines):
    assert lines_of(content) == lines


@pytest.mark.parametrize(
    "line, pair",
    [
        (b"mail.example:10.0.0.1", (b"mail.example", b"10.0.0.1")),
        (b"a.example:1.2.3.4:53", (b"a.example", b"1.2.3.4:53")),
        (b":1.2.3.4", None),
        (b"localhost", (b"localhost", b"localhost")),
        (b"", (b"", b"")),
        (b"a:", (b"a", b"")),
    ],
)
def test_a_host_line_is_split_at_its_first_colon(line, pair):
    assert host_pair(line) == pair


def test_every_line_is_printed_but_only_pairs_are_counted():
    trace = Trace()
    configuration = read(b"127.0.0.2\0tail\n\n", b":1.2.3.4\nlocalhost\n", trace)
    assert configuration.servers == [b"127.0.0.2", b""]
    assert configuration.host_pairs == [(b"localhost", b"localhost")]
    assert trace.take() == (
        b"read dns: 127.0.0.2\n"
        b"read dns: \n"
        b"read hostmap: :1.2.3.4\n"
        b"read hostmap: localhost\n"
        b"dnsproxy: dns_size:2, hostmap_size:1\n"
    )
