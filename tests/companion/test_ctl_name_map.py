"""The host map that is made from the people's names."""

import os
import random
import signal
import subprocess
import threading
import time

import pytest
from harness import wait_until

import ctl
import names_files as files


@pytest.fixture(autouse=True)
def no_files():
    files.start_empty()
    yield
    files.start_empty()


def test_both_styles_comments_case_and_final_dots_are_made_into_the_exact_form():
    files.write(
        names=b"# the house\r\n"
        b"10.0.0.1  mail.example  Mail\t# the old one\r\n"
        b"\n"
        b"  Printer.LAN.:10.0.0.7\n"
        b"router.lan: 10.0.0.254\n"
    )
    result = ctl.run("name", "apply")
    assert result.stdout == "/var/log/Varnok/hostmap is made again.\n"
    assert (result.stderr, result.returncode) == ("", 0)
    assert files.HOST_MAP.read_bytes() == (
        b":made by dns_proxy_ctl from names and names.d, edit those; checksum 51652dbb6f07f37c\n"
        b"mail.example:10.0.0.1\n"
        b"mail:10.0.0.1\n"
        b"printer.lan:10.0.0.7\n"
        b"router.lan:10.0.0.254\n"
    )
    assert files.HOST_MAP.stat().st_mode & 0o777 == 0o644


def test_international_names_get_their_ascii_form():
    files.write(names="10.0.0.1 Bücher.example straße.example\n".encode())
    ctl.run("name", "apply")
    assert files.HOST_MAP.read_bytes() == files.made_of(
        b"xn--bcher-kva.example:10.0.0.1\nxn--strae-oqa.example:10.0.0.1\n"
    )


def test_the_first_of_two_counts_and_the_second_is_told():
    files.write(names=b"10.0.0.1 a.lan\n10.0.0.2 A.lan\n")
    assert ctl.run("name", "apply").stdout == (
        '/var/log/Varnok/names:2: "a.lan" again, after line 1 of /var/log/Varnok/names, which counts\n'
        "/var/log/Varnok/hostmap is made again.\n"
    )
    assert files.HOST_MAP.read_bytes() == files.made_of(b"a.lan:10.0.0.1\n")


def test_own_names_come_before_lists_and_lists_in_the_order_of_their_names():
    files.write(
        names=b"10.0.0.1 a.lan\n",
        lists={
            "20-second": b"0.0.0.0 c.lan\n0.0.0.2 b.lan\n",
            "10-first": b"0.0.0.0 a.lan\n0.0.0.0 b.lan\n",
            "30-third": b"0.0.0.3 c.lan\n",
        },
    )
    ctl.run("name", "apply")
    assert files.HOST_MAP.read_bytes() == files.made_of(b"a.lan:10.0.0.1\nb.lan:0.0.0.0\nc.lan:0.0.0.0\n")


def test_names_that_are_never_listed_stay_off_the_lists_but_not_off_the_own_names():
    files.write(
        names=b"10.0.0.1 own.lan\n",
        lists={"ads": b"0.0.0.0 own.lan bad.lan good.lan\n"},
        never_listed=b"# asked for at work\nGood.lan.\nown.lan\n",
    )
    ctl.run("name", "apply")
    assert files.HOST_MAP.read_bytes() == files.made_of(b"own.lan:10.0.0.1\nbad.lan:0.0.0.0\n")


@pytest.mark.parametrize(
    ("line", "remark"),
    [
        (b"::1 localhost", '"::1" is an IPv6 address, the host map has none'),
        (b"a.lan:fe80::1", '"fe80::1" is an IPv6 address, the host map has none'),
        (b"10.0.0.1", "there is no name behind the address"),
        (b"a.lan 10.0.0.1", 'the address comes first: "10.0.0.1 a.lan"'),
        (b"a.lan=10.0.0.1", 'a colon parts a name from its address: "a.lan:10.0.0.1"'),
        (b"a.lan,10.0.0.1", 'a colon parts a name from its address: "a.lan:10.0.0.1"'),
        (b"a.lan:10.0.0.1:53", '"10.0.0.1:53" is no IPv4 address'),
        (b"a.lan:10.0.0", '"10.0.0" is no IPv4 address'),
        (b":10.0.0.1", "there is no name in front of the colon"),
        (b"a.lan:10.0.0.1 b.lan", 'there is more behind the address: "b.lan"'),
        (b"a.lan", 'there is no IPv4 address in "a.lan"'),
        (b"10.0.0.1 *.lan", '"*.lan" is a wildcard, there are none'),
        (b"10.0.0.1 a..lan", '"a..lan" has an empty label'),
        (b"10.0.0.1 .", '"." has an empty label'),
        (b"10.0.0.1 10.0.0.2", '"10.0.0.2" is an address, not a name'),
        (b"10.0.0.1 a_b.l!n", '"a_b.l!n" has characters that no host name has'),
        (
            b"10.0.0.1 4.3.2.1.in-addr.arpa",
            '"4.3.2.1.in-addr.arpa" is a reverse name, which the proxy never looks up in the host map',
        ),
    ],
)
def test_a_line_that_can_never_work_is_told_and_left_out(line, remark):
    files.write(names=b"10.0.0.9 good.lan\n" + line + b"\n")
    result = ctl.run("name", "apply")
    assert result.stdout == f"/var/log/Varnok/names:2: {remark}\n/var/log/Varnok/hostmap is made again.\n"
    assert files.HOST_MAP.read_bytes() == files.made_of(b"good.lan:10.0.0.9\n")


def test_names_and_labels_that_are_too_long_are_told():
    longest = "x" * 127 + ".lan"
    too_long = "x" * 128 + ".lan"
    whole = ".".join(["y" * 100] * 10) + ".lan.abcdefghij"  # 1,024 characters
    assert len(whole) == 1024
    files.write(names=f"10.0.0.1 {longest} {too_long} {whole} {whole[1:]}\n".encode())
    told = ctl.run("name", "apply").stdout.splitlines()
    assert [line.rsplit('" ', 1)[1] for line in told[:2]] == [
        "has a label of 128 characters, 127 are decoded",
        "has 1,024 characters, 1,023 are decoded",
    ]
    assert files.HOST_MAP.read_bytes() == files.made_of(f"{longest}:10.0.0.1\n{whole[1:]}:10.0.0.1\n".encode())


def test_of_many_remarks_on_a_file_twenty_are_told():
    files.write(names=b"10.0.0.9 good.lan\n" + b"nothing\n" * 1022)
    told = ctl.run("name", "apply").stdout.splitlines()
    assert len(told) == 22
    assert told[20] == "/var/log/Varnok/names: 1,002 more like these"


def test_nothing_is_written_when_nothing_differs():
    files.write(names=b"10.0.0.1 a.lan\n")
    ctl.run("name", "apply")
    before = files.HOST_MAP.stat()
    result = ctl.run("name", "apply")
    assert (result.stdout, result.stderr, result.returncode) == ("", "", 0)
    assert files.HOST_MAP.stat().st_ino == before.st_ino


def test_without_names_the_host_map_is_the_peoples_own():
    files.write(host_map=b"own.lan:10.0.0.1\n")
    result = ctl.run("name", "apply")
    assert (result.stdout, result.stderr, result.returncode) == ("", "", 0)
    assert files.HOST_MAP.read_bytes() == b"own.lan:10.0.0.1\n"


def test_a_host_map_written_by_hand_is_never_overwritten():
    files.write(names=b"10.0.0.1 a.lan\n", host_map=b"own.lan:10.0.0.1\n")
    result = ctl.run("name", "apply")
    assert result.stderr == (
        "dns_proxy_ctl: /var/log/Varnok/hostmap is written by hand: it is left as it is; "
        "'dns_proxy_ctl name import' takes its lines over into /var/log/Varnok/names.\n"
    )
    assert result.returncode == 2
    assert files.HOST_MAP.read_bytes() == b"own.lan:10.0.0.1\n"


def test_the_sample_of_an_installation_gives_way_to_the_first_name():
    files.write(host_map=files.SAMPLE)
    result = ctl.run("name", "add", "printer.lan", "10.0.0.7")
    assert (result.stderr, result.returncode) == ("", 0)
    assert files.HOST_MAP.read_bytes() == files.made_of(b"printer.lan:10.0.0.7\n")


def test_the_sample_stays_while_there_are_no_names_and_may_be_taken_over_like_any_other_host_map():
    files.write(host_map=files.SAMPLE)
    assert ctl.run("name", "apply").returncode == 0
    assert files.HOST_MAP.read_bytes() == files.SAMPLE
    assert ctl.run("name", "import").returncode == 0
    assert files.HOST_MAP.read_bytes() == files.made_of(files.SAMPLE)


@pytest.mark.parametrize("edited", [files.SAMPLE + b"own.lan:10.0.0.2\n", files.SAMPLE.replace(b"1\n", b"2\n"), files.SAMPLE[:-1]])
def test_a_sample_that_was_edited_is_written_by_hand(edited):
    files.write(host_map=edited)
    result = ctl.run("name", "add", "printer.lan", "10.0.0.7")
    assert "/var/log/Varnok/hostmap is written by hand" in result.stderr
    assert files.HOST_MAP.read_bytes() == edited


def test_a_made_host_map_that_was_edited_is_never_overwritten():
    edited = files.made_of(b"a.lan:10.0.0.1\n") + b"b.lan:10.0.0.2\n"
    files.write(names=b"10.0.0.3 a.lan\n", host_map=edited)
    result = ctl.run("name", "apply")
    assert "/var/log/Varnok/hostmap was edited by hand after it was made from names: it is left" in result.stderr
    assert files.HOST_MAP.read_bytes() == edited


@pytest.mark.parametrize(
    ("spoil", "why"),
    [
        (lambda path: path.write_bytes(bytes(range(128, 256)) * 20), "it holds something other than text"),
        (lambda path: path.mkdir(), "it is a directory"),
        (lambda path: os.mkfifo(path), "it is no regular file"),
        (lambda path: os.truncate(os.open(path, os.O_CREAT | os.O_WRONLY), (256 << 20) + 1), "it is larger than 256 MB"),
        (lambda path: path.symlink_to("nowhere"), "there is no such file"),
    ],
    ids=["binary", "directory", "pipe", "huge", "dangling link"],
)
def test_a_list_that_cannot_be_read_leaves_the_last_good_map(spoil, why):
    files.write(names=b"10.0.0.1 a.lan\n", lists={})
    ctl.run("name", "apply")
    good = files.HOST_MAP.read_bytes()
    files.NAMES.write_bytes(b"10.0.0.2 a.lan\n")
    spoil(files.LISTS / "bad")
    result = ctl.run("name", "apply")
    assert result.stderr == f"dns_proxy_ctl: /var/log/Varnok/names.d/bad: {why}.\n"
    assert result.returncode == 2
    assert files.HOST_MAP.read_bytes() == good


def test_a_list_that_is_written_to_while_it_is_read_leaves_the_last_good_map():
    files.write(names=b"10.0.0.1 a.lan\n", lists={})
    ctl.run("name", "apply")
    growing = files.LISTS / "growing"
    growing.write_bytes(b"0.0.0.0 host.lan\n" * 100000)
    stop = threading.Event()

    def write_on():
        with growing.open("ab", buffering=0) as file:
            while not stop.is_set():
                file.write(b"#\n")

    def is_refused_and_changes_nothing():
        before = files.HOST_MAP.read_bytes()
        result = ctl.run("name", "apply")
        if result.returncode == 0:
            return False
        why = "/var/log/Varnok/names.d/growing: it was written to while it was read"
        assert result.stderr == f"dns_proxy_ctl: {why}.\n"
        assert files.HOST_MAP.read_bytes() == before
        return True

    writer = threading.Thread(target=write_on)
    writer.start()
    try:
        wait_until(is_refused_and_changes_nothing, "a reading during which it grows")
    finally:
        stop.set()
        writer.join()


def test_the_host_map_is_exchanged_whole():
    files.write(names=b"10.0.0.1 a.lan\n")
    ctl.run("name", "apply")
    with files.HOST_MAP.open("rb") as opened_before:
        files.NAMES.write_bytes(b"10.0.0.2 a.lan\n")
        ctl.run("name", "apply")
        assert opened_before.read() == files.made_of(b"a.lan:10.0.0.1\n")
    assert files.HOST_MAP.read_bytes() == files.made_of(b"a.lan:10.0.0.2\n")


def test_what_an_earlier_run_left_unfinished_does_not_matter():
    files.write(names=b"10.0.0.1 a.lan\n")
    (files.FOLDER / ".hostmap.new").write_bytes(b"x" * 10000)
    assert ctl.run("name", "apply").returncode == 0
    assert files.HOST_MAP.read_bytes() == files.made_of(b"a.lan:10.0.0.1\n")


def test_an_end_at_any_moment_leaves_the_old_map_or_the_new_one():
    old = b"".join(b"10.0.0.1 host%d.lan\n" % number for number in range(20000))
    new = old.replace(b"10.0.0.1", b"10.0.0.2")
    files.write(names=old)
    ctl.run("name", "apply")
    old_map = files.HOST_MAP.read_bytes()
    new_map = files.made_of(old_map.partition(b"\n")[2].replace(b"10.0.0.1", b"10.0.0.2"))
    draw = random.Random(53)
    seen = set()
    for _ in range(60):
        files.NAMES.write_bytes(new if files.HOST_MAP.read_bytes() == old_map else old)
        process = subprocess.Popen([ctl.ctl_path(), "name", "apply"], stdout=subprocess.DEVNULL)
        time.sleep(draw.uniform(0, 0.06))  # no wait for anything: the moment of the end
        process.send_signal(signal.SIGKILL)
        process.wait()
        left = files.HOST_MAP.read_bytes()
        assert left in (old_map, new_map)
        seen.add(left == old_map)
    files.NAMES.write_bytes(new)
    assert ctl.run("name", "apply").returncode == 0
    assert files.HOST_MAP.read_bytes() == new_map
    assert [file.name for file in files.FOLDER.iterdir() if file.name.startswith(".")] == []


def test_watch_takes_up_a_change_and_says_so():
    files.write(names=b"10.0.0.1 a.lan\n")
    with subprocess.Popen([ctl.ctl_path(), "watch"], stdout=subprocess.PIPE, encoding="ascii") as watch:
        try:
            assert watch.stdout.readline() == "/var/log/Varnok/hostmap is made again from names.\n"
            assert files.HOST_MAP.read_bytes() == files.made_of(b"a.lan:10.0.0.1\n")
            files.NAMES.write_bytes(b"10.0.0.2 a.lan\n")
            wait_until(
                lambda: files.HOST_MAP.read_bytes() == files.made_of(b"a.lan:10.0.0.2\n"), "the host map made again"
            )
        finally:
            watch.terminate()
