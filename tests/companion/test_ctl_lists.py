"""Lists of names as they are given away."""

import pytest

import ctl
import names_files as files


@pytest.fixture(autouse=True)
def no_files():
    files.start_empty()
    yield
    files.start_empty()


def test_a_list_in_the_style_of_a_hosts_file_is_taken_in_and_counted(tmp_path):
    (tmp_path / "hosts.txt").write_bytes(
        b"# title\n127.0.0.1 localhost LocalHost.\n::1 localhost ip6-localhost\n0.0.0.0 0.0.0.0\n"
        b"0.0.0.0 Ads.example tracker.example\n127.0.0.1 ads.example.\n0.0.0.0 *.wild.example\n"
    )
    result = ctl.run("list", "add", tmp_path / "hosts.txt")
    assert result.stdout == (
        "hosts.txt: 2 names taken, as 0.0.0.0\n"
        "  1 left out: repeated, first in line 6\n"
        "  1 left out: for IPv6, which the host map can't answer, first in line 3\n"
        "  3 left out: the host's own, such as localhost, first in line 2\n"
        "  1 left out: no name that could be asked, first in line 7\n"
        "/var/log/Varnok/hostmap is made again.\n"
    )
    assert (files.LISTS / "hosts.txt").read_bytes() == b"0.0.0.0 ads.example\n0.0.0.0 tracker.example\n"
    assert files.HOST_MAP.read_bytes() == files.made_of(b"ads.example:0.0.0.0\ntracker.example:0.0.0.0\n")


def test_a_plain_list_gets_the_address_that_is_asked_for(tmp_path):
    (tmp_path / "domains").write_bytes(b"! title\nads.example\nB\xc3\xbccher.example # comment\n||pattern^\n")
    result = ctl.run("list", "add", tmp_path / "domains", "--as", "127.0.0.1")
    assert result.stdout.splitlines()[:2] == [
        "domains: 2 names taken, as 127.0.0.1",
        "  1 left out: no name that could be asked, first in line 4",
    ]
    assert (files.LISTS / "domains").read_bytes() == b"127.0.0.1 ads.example\n127.0.0.1 xn--bcher-kva.example\n"


def test_lists_are_shown_and_removed():
    files.write(
        names=b"10.0.0.1 own.example\n",
        lists={"a": b"0.0.0.0 own.example x.example\n", "b": b"0.0.0.0 x.example y.example z.example\n"},
        never_listed=b"z.example\n",
    )
    assert ctl.run("list", "show").stdout == (
        "a: 1 name in use, 1 that an earlier line has, 0 never listed\n"
        "b: 1 name in use, 1 that an earlier line has, 1 never listed\n"
    )
    result = ctl.run("list", "remove", "a")
    assert result.stdout.splitlines()[0] == "a is removed."
    assert files.HOST_MAP.read_bytes() == files.made_of(b"own.example:10.0.0.1\nx.example:0.0.0.0\ny.example:0.0.0.0\n")
    assert ctl.run("list", "remove", "b").returncode == 0
    assert ctl.run("list", "show").stdout == "There is no list in /var/log/Varnok/names.d.\n"


@pytest.mark.parametrize(
    ("arguments", "sentence", "status"),
    [
        (("add", "empty"), "empty: there is no name in it that a list can have.", 2),
        (("add", "missing"), "missing: there is no such file.", 2),
        (("add", "."), '"." can\'t be the name of a list.', 64),
        (("add", "empty", "--as", "::"), '"::" is no IPv4 address.', 64),
        (("add", "binary"), "binary: it holds something other than text.", 2),
        (("remove", "nothing"), "There is no list \"nothing\"; see 'dns_proxy_ctl list show'.", 1),
        (("remove", "../dns"), '"../dns" can\'t be the name of a list.', 64),
    ],
)
def test_what_is_no_list_is_refused_in_one_sentence(tmp_path, arguments, sentence, status):
    (tmp_path / "empty").write_bytes(b"# nothing\n")
    (tmp_path / "binary").write_bytes(bytes(range(128, 256)) * 20)
    result = ctl.run("list", *arguments, cwd=tmp_path)
    assert result.stderr == f"dns_proxy_ctl: {sentence}\n"
    assert (result.stdout, result.returncode) == ("", status)
    assert not files.HOST_MAP.exists()
