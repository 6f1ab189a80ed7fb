"""Edits of the people's names, and what is told about a name."""

import pytest
from harness import Application, Upstream, query

import ctl
import names_files as files


@pytest.fixture(autouse=True)
def no_files():
    files.start_empty()
    yield
    files.start_empty()


def test_a_name_is_added_at_the_end_and_the_host_map_made():
    files.write(names=b"# mine\n10.0.0.1 a.lan\n\n")
    result = ctl.run("name", "add", "B.lan.", "10.0.0.2")
    assert result.stdout == "b.lan has the address 10.0.0.2 now.\n/var/log/Varnok/hostmap is made again.\n"
    assert result.returncode == 0
    assert files.NAMES.read_bytes() == b"# mine\n10.0.0.1 a.lan\n\n10.0.0.2 b.lan\n"
    assert files.HOST_MAP.read_bytes() == files.made_of(b"a.lan:10.0.0.1\nb.lan:10.0.0.2\n")


@pytest.mark.parametrize(
    ("before", "after"),
    [
        (None, b"10.0.0.9 a.lan\n"),
        (b"10.0.0.1\ta.lan   # note\n", b"10.0.0.9\ta.lan   # note\n"),
        (b"A.LAN:10.0.0.1\n10.0.0.2 b.lan\n", b"A.LAN:10.0.0.9\n10.0.0.2 b.lan\n"),
        (b"10.0.0.1 b.lan a.lan c.lan # three\n", b"10.0.0.1 b.lan c.lan # three\n10.0.0.9 a.lan\n"),
        (b"10.0.0.1 b.lan", b"10.0.0.1 b.lan\n10.0.0.9 a.lan\n"),
    ],
    ids=["no file", "in its place", "map style", "one of three", "no last line end"],
)
def test_an_address_is_given_where_the_name_stands(before, after):
    files.write(names=before)
    assert ctl.run("name", "add", "a.lan", "10.0.0.9").returncode == 0
    assert files.NAMES.read_bytes() == after


def test_an_address_that_a_name_has_already_changes_nothing():
    files.write(names=b"\n10.0.0.1 a.lan\n")
    result = ctl.run("name", "add", "a.lan", "10.0.0.1")
    assert result.stdout == "a.lan has that address already, in line 2 of /var/log/Varnok/names.\n"
    assert not files.HOST_MAP.exists()


@pytest.mark.parametrize(
    ("before", "after"),
    [
        (b"# mine\n10.0.0.1 a.lan\n10.0.0.2 b.lan\n", b"# mine\n10.0.0.2 b.lan\n"),
        (b"10.0.0.1 a.lan # keep this\n", b"# keep this\n"),
        (b"10.0.0.1 b.lan A.lan a.lan. c.lan\n", b"10.0.0.1 b.lan c.lan\n"),
        (b"a.lan:10.0.0.1\n10.0.0.2 a.lan b.lan\n", b"10.0.0.2 b.lan\n"),
    ],
    ids=["its line", "its comment stays", "every spelling", "every line"],
)
def test_a_name_is_removed_wherever_it_stands(before, after):
    files.write(names=before)
    assert ctl.run("name", "remove", "a.lan").returncode == 0
    assert files.NAMES.read_bytes() == after


def test_a_name_that_is_not_there_can_not_be_removed():
    files.write(names=b"10.0.0.1 b.lan\n")
    result = ctl.run("name", "remove", "a.lan")
    assert result.stderr == "dns_proxy_ctl: /var/log/Varnok/names has no a.lan.\n"
    assert result.returncode == 1


@pytest.mark.parametrize(
    ("arguments", "sentence"),
    [
        (("a.lan", "::1"), 'The host map answers with IPv4 addresses only: "::1" is an IPv6 address.'),
        (("a.lan", "10.0.0"), '"10.0.0" is no IPv4 address.'),
        (("*.lan", "10.0.0.1"), 'No such entry can work: "*.lan" is a wildcard, there are none.'),
        (("::1", "10.0.0.1"), 'No such entry can work: "::1" has characters that no host name has.'),
        (("", "10.0.0.1"), "No such entry can work: an empty name can't be asked."),
        (
            ("1.0.0.127.in-addr.arpa", "10.0.0.1"),
            'No such entry can work: "1.0.0.127.in-addr.arpa" is a reverse name, which the proxy never looks up '
            "in the host map.",
        ),
    ],
)
def test_what_could_never_work_is_refused(arguments, sentence):
    result = ctl.run("name", "add", *arguments)
    assert result.stderr == f"dns_proxy_ctl: {sentence}\n"
    assert result.returncode == 64
    assert not files.NAMES.exists()


def test_names_are_listed_with_their_places():
    files.write(names=b"10.0.0.1 a.lan\n10.0.0.2 a.lan b.lan\n", lists={"ads": b"0.0.0.0 ads.example a.lan\n"})
    assert ctl.run("name", "list").stdout == (
        "a.lan 10.0.0.1 /var/log/Varnok/names:1\n"
        "b.lan 10.0.0.2 /var/log/Varnok/names:2\n"
        "ads.example 0.0.0.0 /var/log/Varnok/names.d/ads:1\n"
    )
    assert ctl.run("name", "list", "ads").stdout == "ads.example 0.0.0.0 /var/log/Varnok/names.d/ads:1\n"


def test_a_host_map_written_by_hand_is_taken_over():
    files.write(host_map=b"a.lan:10.0.0.1\nb.lan:10.0.0.2\n")
    result = ctl.run("name", "import")
    assert result.stdout == (
        "The lines of /var/log/Varnok/hostmap stand in /var/log/Varnok/names now; "
        "/var/log/Varnok/hostmap.before_names is as it was.\n/var/log/Varnok/hostmap is made again.\n"
    )
    assert files.NAMES.read_bytes() == b"# from hostmap\na.lan:10.0.0.1\nb.lan:10.0.0.2\n"
    assert files.HOST_MAP.read_bytes() == files.made_of(b"a.lan:10.0.0.1\nb.lan:10.0.0.2\n")
    assert (files.FOLDER / "hostmap.before_names").read_bytes() == b"a.lan:10.0.0.1\nb.lan:10.0.0.2\n"


def test_edits_of_a_made_host_map_are_taken_over_into_the_names():
    edited = files.made_of(b"a.lan:10.0.0.1\n").replace(b"a.lan:10.0.0.1", b"a.lan:10.0.0.5") + b"b.lan:10.0.0.2\n"
    files.write(names=b"10.0.0.1 a.lan # mine\n", host_map=edited)
    assert ctl.run("name", "import").returncode == 0
    assert files.NAMES.read_bytes() == b"10.0.0.5 a.lan # mine\n10.0.0.2 b.lan\n"
    assert files.HOST_MAP.read_bytes() == files.made_of(b"a.lan:10.0.0.5\nb.lan:10.0.0.2\n")


def explained(name):
    return ctl.run("name", "explain", name).stdout.splitlines()


@pytest.mark.in_its_time
def test_explain_names_the_lines_and_asks_the_proxy():
    files.write(names=b"# one\n10.0.0.1 a.lan\n10.0.0.2 a.lan\n", lists={"ads": b"0.0.0.0 A.lan off.lan\n"})
    files.NEVER_LISTED.write_bytes(b"off.lan\n")
    ctl.run("name", "apply")
    with ctl.serving(dns=b"127.0.0.2\n", hostmap=files.HOST_MAP.read_bytes()), Upstream("127.0.0.2") as server:
        lines = explained("A.lan.")
        assert lines[:4] == [
            "a.lan is answered with 10.0.0.1: line 2 of /var/log/Varnok/hostmap.",
            "/var/log/Varnok/names:2 gives it 10.0.0.1.",
            "/var/log/Varnok/names:3 gives it 10.0.0.2, which does not count: an earlier line has the name.",
            "/var/log/Varnok/names.d/ads:1 gives it 0.0.0.0, which does not count: an earlier line has the name.",
        ]
        assert lines[4].startswith("Asked now, 127.0.0.1:53 says 10.0.0.1 in ")
        lines = explained("off.lan")
        assert lines == [
            "off.lan is not in the host map: 1 server of /var/log/Varnok/dns is asked.",
            "/var/log/Varnok/names.d/ads:1 gives it 0.0.0.0, which does not count: the name is never listed.",
            "Asked now, 127.0.0.1:53 says nothing for a second.",
        ]
        server.receive()


def test_explain_says_when_nobody_serves_and_when_a_name_never_gets_there():
    files.write()
    assert explained("a.lan") == [
        'a.lan is not in the host map: there is no server to ask, so it is answered "no such name".',
        "Nobody serves on 127.0.0.1:53 now.",
    ]
    assert explained("4.3.2.1.in-addr.arpa") == [
        'The host map never answers it: "4.3.2.1.in-addr.arpa" is a reverse name, which the proxy never looks up '
        "in the host map.",
    ]


def test_the_line_that_says_who_made_the_host_map_is_none_of_checks_business():
    files.write(names=b"10.0.0.1 a.lan\n")
    ctl.run("name", "apply")
    (files.FOLDER / "dns").write_bytes(b"192.0.2.1\n")
    result = ctl.run("check")
    assert result.stdout == "1 server, 1 host map entry: nothing to report\n"
    assert result.returncode == 0


def test_a_made_host_map_is_what_the_proxy_answers_from():
    files.write(names="10.0.0.1 Mail.example\nBücher.example:10.0.0.2\n".encode())
    ctl.run("name", "apply")
    with ctl.serving(hostmap=files.HOST_MAP.read_bytes()), Application() as application:
        for name, address in (("mail.example", "0a000001"), ("xn--bcher-kva.example", "0a000002")):
            application.send(query(7, name))
            assert application.receive()[-4:].hex() == address
