"""`check` on files that are missing, unreadable, no text or large, and what the proxy makes of them."""

import os

import pytest
from harness import Application, Proxy, query
from harness.faults import as_user
from harness.proxy import DNS_FILE, HOSTMAP_FILE, write_configuration

import ctl


@pytest.fixture
def files(open_folder):
    """A server file and a host map without a flaw."""
    (open_folder / "dns").write_bytes(b"127.0.0.2\n")
    (open_folder / "hostmap").write_bytes(b"a.lan:10.0.0.1\n")
    return open_folder


def check(folder, *arguments, **options):
    with ctl.listening_everywhere():
        return ctl.run("check", "--dns", "dns", "--hostmap", "hostmap", *arguments, cwd=folder, **options)


def check_usual_places():
    with ctl.listening_everywhere():
        return ctl.run("check")


def test_named_file_that_does_not_exist(files):
    (files / "hostmap").unlink()
    result = check(files)
    assert result.stdout == (
        "hostmap:0: error: there is no such file -> the proxy takes it for an empty file\n"
        "1 server, 0 host map entries: 1 error\n"
    )
    assert result.returncode == 2


def test_host_map_missing_from_its_usual_place_is_no_mistake():
    write_configuration(dns=b"127.0.0.2\n", hostmap=None)
    result = check_usual_places()
    assert result.stdout == "1 server, 0 host map entries: nothing to report\n"
    assert result.returncode == 0


def test_server_file_missing_from_its_usual_place():
    write_configuration(dns=None, hostmap=b"a.lan:10.0.0.1\n")
    result = check_usual_places()
    assert result.stdout == (
        "/var/log/Varnok/dns:0: warning: there is no server -> "
        'every name that the host map does not hold is answered "no such name"\n'
        "0 servers, 1 host map entry: 1 warning\n"
    )
    assert result.returncode == 0
    with ctl.serving(hostmap=b"a.lan:10.0.0.1\n"), Application() as application:
        application.send(query(1, "b.lan"))
        assert ctl.is_no_such_name(application.receive())


def test_null_device_is_an_empty_file(files):
    (files / "hostmap").unlink()
    (files / "hostmap").symlink_to("/dev/null")
    result = check(files)
    assert result.stdout == "1 server, 0 host map entries: nothing to report\n"
    assert result.returncode == 0


def test_directory(files):
    (files / "hostmap").unlink()
    (files / "hostmap").mkdir()
    result = check(files)
    assert result.stdout == (
        "hostmap:0: error: it is a directory -> the proxy takes it for an empty file\n"
        "1 server, 0 host map entries: 1 error\n"
    )
    assert result.returncode == 2


def test_proxy_takes_a_directory_for_an_empty_file():
    write_configuration(dns=None, hostmap=None)
    DNS_FILE.mkdir()
    try:
        with Proxy(keep_configuration=True) as proxy:
            proxy.expect_trace(["dnsproxy: dns_size:0, hostmap_size:0", "func: main(line:79) StartDnsSrv failed"])
            proxy.expect_exit(0)
    finally:
        DNS_FILE.rmdir()


def test_pipe_is_not_waited_for(files):
    (files / "dns").unlink()
    os.mkfifo(files / "dns")
    result = check(files)
    assert result.stdout == (
        "dns:0: error: it is no regular file -> the proxy waits at its start until it has read the end of it\n"
        "0 servers, 1 host map entry: 1 error\n"
    )
    assert result.returncode == 2


def test_proxy_waits_for_the_end_of_a_pipe():
    write_configuration(dns=None, hostmap=None)
    os.mkfifo(DNS_FILE)
    try:
        with Proxy(keep_configuration=True) as proxy:
            with open(DNS_FILE, "wb") as writer:
                writer.write(b"127.0.0.2\n")
            proxy.trace.take_until(ctl.SERVING)
            proxy.kill()
    finally:
        DNS_FILE.unlink()


def test_file_that_may_not_be_read(files):
    (files / "dns").chmod(0)
    result = check(files, wrapper=as_user())
    assert result.stdout == (
        "dns:0: error: it can't be read: Permission denied -> "
        "a proxy that may not read it either takes it for an empty file\n"
        "0 servers, 1 host map entry: 1 error\n"
    )
    assert result.returncode == 2


def test_proxy_takes_a_file_that_it_may_not_read_for_an_empty_one():
    write_configuration(dns=b"127.0.0.2\n", hostmap=None)
    DNS_FILE.chmod(0)
    try:
        with Proxy(keep_configuration=True, wrapper=as_user()) as proxy:
            proxy.expect_trace(["dnsproxy: dns_size:0, hostmap_size:0", "func: main(line:79) StartDnsSrv failed"])
            proxy.expect_exit(0)
    finally:
        DNS_FILE.unlink()


@pytest.mark.parametrize(
    "content",
    [
        pytest.param(open(ctl.ctl_path(), "rb").read(), id="a program"),
        pytest.param("127.0.0.2\r\n127.0.0.3\r\n".encode("utf-16"), id="UTF-16"),
        pytest.param(bytes(range(256)) * 16, id="every byte"),
    ],
)
def test_file_that_is_no_text(files, content):
    (files / "dns").write_bytes(content)
    result = check(files)
    assert result.stdout == (
        "dns:0: error: it holds something other than text -> the proxy takes every line of it for an entry\n"
        "0 servers, 1 host map entry: 1 error\n"
    )
    assert result.returncode == 2


def test_proxy_takes_every_line_of_what_is_no_text_for_an_entry():
    with Proxy(dns="127.0.0.2\r\n127.0.0.3\r\n".encode("utf-16-le")) as proxy:
        proxy.trace.take_until("dnsproxy: dns_size:3, hostmap_size:0")
        proxy.kill()


def test_file_that_changes_while_it_is_read(files):
    (files / "dns").unlink()
    (files / "dns").symlink_to("/proc/sys/kernel/random/uuid")
    result = check(files)
    assert result.stdout == (
        "dns:0: error: it was written to while it was read -> "
        "the proxy would read half of a change\n"
        "0 servers, 1 host map entry: 1 error\n"
    )
    assert result.returncode == 2


def test_latin_1_is_text(files):
    (files / "hostmap").write_bytes(b"b\xfccher.lan:10.0.0.1\n")
    assert check(files).stdout.startswith('hostmap:1: warning: "b\\252cher.lan" has characters beyond ASCII -> ')


def test_long_line_is_shown_without_its_middle(files):
    (files / "dns").write_bytes(b"x" * 1_000_000)
    shown = '"' + "x" * 60 + "..." + "x" * 15 + '"'
    assert check(files).stdout.startswith(f"dns:1: error: {shown} is no dotted IPv4 address -> ")


def test_name_again_after_a_million_lines(files):
    lines = (f"host{at}.office.intra.lan:10.{at >> 16}.{at >> 8 & 255}.{at & 255}\n" for at in range(999_999))
    (files / "hostmap").write_text("".join(lines) + "host0.office.intra.lan:10.9.9.9\n")
    result = check(files)
    assert result.stdout == (
        'hostmap:1000000: warning: "host0.office.intra.lan" again, after line 1 -> '
        'the first line stays: "host0.office.intra.lan" is answered with 10.0.0.0\n'
        "1 server, 1,000,000 host map entries: 1 warning\n"
    )


def test_usual_places_are_those_of_the_proxy():
    write_configuration(dns=b"127.0.0.2\n127.0.0.3\n", hostmap=b"a.lan:10.0.0.1\nA.lan:10.0.0.2\n")
    result = check_usual_places()
    assert result.stdout == (
        f'{HOSTMAP_FILE}:2: warning: "A.lan" has upper-case letters -> '
        "never found: names asked for are compared in lower case\n"
        "2 servers, 2 host map entries: 1 warning\n"
    )
