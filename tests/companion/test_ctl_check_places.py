"""`check` on servers at this host's own addresses, on standard input, before a start, and for the service's user."""

import contextlib
import json
import os
import socket
import subprocess

import pytest
from harness.faults import ORDINARY_USER, as_user
from harness.namespace import replace_file
from harness.proxy import DNS_FILE, HOSTMAP_FILE, write_configuration

import ctl

OWN = "192.0.2.44"
NOBODY_LISTENS = " is an address of this host, and nobody listens at its port 53"
CONSEQUENCE = "as long as it is so, a query that comes to it is never answered"
HOST_MAP = b"a.lan:10.0.0.1\n"


def checked(dns, *arguments, **options):
    """What is said about these servers, without the counts; and the status."""
    write_configuration(dns=dns, hostmap=HOST_MAP)
    result = ctl.run("check", *arguments, **options)
    return result.stdout.splitlines()[:-1], result.returncode


@pytest.fixture
def own_address():
    subprocess.run(["ip", "address", "add", f"{OWN}/32", "dev", "lo"], check=True)
    yield
    subprocess.run(["ip", "address", "del", f"{OWN}/32", "dev", "lo"], check=True)


@pytest.mark.parametrize("address", ["127.0.0.2", "127.255.255.254", OWN])
def test_own_address_where_nobody_listens(own_address, address):
    assert checked(f"{address}\n".encode()) == ([f"{DNS_FILE}:1: warning: {address}{NOBODY_LISTENS} -> {CONSEQUENCE}"], 0)


@pytest.mark.parametrize("address", ["127.0.0.2", OWN])
@pytest.mark.parametrize("held", ["0.0.0.0", None])
def test_own_address_where_somebody_listens(own_address, address, held):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as holder:
        holder.bind((held or address, 53))
        assert checked(f"{address}\n".encode()) == ([], 0)


def test_somebody_at_another_address_is_not_counted(own_address):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as holder:
        holder.bind(("127.0.0.3", 53))
        assert len(checked(b"127.0.0.2\n")[0]) == 1


def test_servers_by_standard_input(tmp_path):
    (tmp_path / "hostmap").write_bytes(HOST_MAP)
    result = ctl.run("check", "--dns", "-", "--hostmap", "hostmap", cwd=tmp_path, input="::1\n")
    assert result.stdout == (
        'standard input:1: error: "::1" is an IPv6 address -> a query that comes to it is dropped: '
        "its application gets no answer, and no later server is asked\n"
        "1 server, 1 host map entry: 1 error\n"
    )
    assert result.returncode == 2


def test_host_map_by_standard_input_in_pieces_leaves_nothing_behind(tmp_path):
    (tmp_path / "dns").write_bytes(b"192.0.2.1\n")
    names = "".join(f"host{at}.lan:10.0.0.1\n" for at in range(100_000))
    options = {"cwd": tmp_path, "env": {**os.environ, "TMPDIR": str(tmp_path)}}
    result = ctl.run("check", "--dns", "dns", "--hostmap", "-", input=names + "A.lan:10.0.0.2\n", **options)
    assert result.stdout == (
        'standard input:100001: warning: "A.lan" has upper-case letters -> '
        "never found: names asked for are compared in lower case\n"
        "1 server, 100,001 host map entries: 1 warning\n"
    )
    assert os.listdir(tmp_path) == ["dns"]


def test_both_by_standard_input():
    result = ctl.run("check", "--dns", "-", "--hostmap", "-")
    assert result.stderr == "dns_proxy_ctl: Only one of the two files can be standard input.\n"
    assert result.returncode == 64


@pytest.mark.parametrize(
    ("dns", "hostmap", "status"),
    [
        pytest.param(b"192.0.2.1\n", HOST_MAP, 0, id="no mistake"),
        pytest.param(b"192.0.2.1\n\n", HOST_MAP, 0, id="an empty line"),
        pytest.param(b"not an address\n", b"", 0, id="no address"),
        pytest.param(b"", HOST_MAP, 0, id="no server"),
        pytest.param(b"192.0.2.1\n" * 255, b"", 0, id="255 methods"),
        pytest.param(b"192.0.2.1\n" * 256, b"", 2, id="256 methods"),
        pytest.param(b"192.0.2.1\n" * 255, HOST_MAP, 2, id="256 methods with the host map"),
        pytest.param(b"192.0.2.1\n" * 65537, b"", 2, id="65537 methods"),
        pytest.param(b"192.0.2.1\n127.0.0.1\n", HOST_MAP, 2, id="the proxy itself"),
        pytest.param(b"0.0.0.0\n", HOST_MAP, 2, id="any address"),
        pytest.param(b"", b"", 2, id="nothing"),
    ],
)
def test_only_what_serves_nobody_or_circles_counts_before_a_start(dns, hostmap, status):
    write_configuration(dns=dns, hostmap=hostmap)
    assert ctl.run("check", "--start").returncode == status
    assert json.loads(ctl.run("check", "--start", "--json").stdout)["obstacles"] == (status == 2)


def test_all_is_said_before_a_start_as_at_any_time():
    write_configuration(dns=b"192.0.2.1\n\n", hostmap=b"A.lan:10.0.0.1\n")
    assert ctl.run("check", "--start").stdout == ctl.run("check").stdout


def test_what_keeps_the_proxy_from_starting_comes_last_before_a_start():
    write_configuration(dns=b"127.0.0.1\n192.0.2.1\n\n" + b"192.0.2.2\n", hostmap=b"A.lan:10.0.0.1\n")
    said = ctl.run("check").stdout.splitlines()
    assert "127.0.0.1 is the proxy itself" in said[0]
    assert ctl.run("check", "--start").stdout.splitlines() == [*said[1:-1], said[0], said[-1]]


def test_files_that_may_not_be_read_are_empty_before_a_start():
    write_configuration(dns=b"192.0.2.1\n", hostmap=HOST_MAP)
    DNS_FILE.chmod(0o600)
    assert ctl.run("check", "--start", wrapper=as_user()).returncode == 0
    HOSTMAP_FILE.chmod(0o600)
    result = ctl.run("check", "--start", wrapper=as_user())
    write_configuration(dns=None, hostmap=None)
    assert "neither file holds an entry" in result.stdout
    assert result.returncode == 2


@contextlib.contextmanager
def service_user(folder):
    """A user of the service's name, for these processes only."""
    with open("/etc/passwd", encoding="utf-8") as file:
        others = [line for line in file if not line.startswith("_dns_proxy_mac:")]
    (folder / "passwd").write_text("".join(others) + f"_dns_proxy_mac:x:{ORDINARY_USER}:{ORDINARY_USER}::/:/bin/false\n")
    (folder / "passwd").chmod(0o644)
    with replace_file("/etc/passwd", folder / "passwd"):
        yield


IN_WORDS = "_dns_proxy_mac, the user of the service, may not "


def test_file_that_the_services_user_may_not_read(tmp_path):
    write_configuration(dns=b"192.0.2.1\n", hostmap=HOST_MAP)
    HOSTMAP_FILE.chmod(0o600)
    with service_user(tmp_path):
        result = ctl.run("check")
    HOSTMAP_FILE.unlink()
    assert result.stdout == (
        f"{HOSTMAP_FILE}:0: error: {IN_WORDS}read it -> the service takes it for an empty file\n"
        "1 server, 1 host map entry: 1 error\n"
    )
    assert result.returncode == 2


def test_folder_that_the_services_user_may_not_pass(tmp_path):
    write_configuration(dns=b"192.0.2.1\n", hostmap=HOST_MAP)
    DNS_FILE.parent.chmod(0o700)
    with service_user(tmp_path):
        findings = ctl.run("check").stdout.splitlines()[:-1]
    DNS_FILE.parent.chmod(0o755)
    assert findings == [
        f"{path}:0: error: {IN_WORDS}pass {DNS_FILE.parent} -> the service takes it for an empty file"
        for path in (DNS_FILE, HOSTMAP_FILE)
    ]


def test_services_user_that_may_read_both_and_files_elsewhere_are_no_concern(tmp_path):
    write_configuration(dns=b"192.0.2.1\n", hostmap=HOST_MAP)
    (tmp_path / "elsewhere").write_bytes(b"192.0.2.1\n")
    (tmp_path / "elsewhere").chmod(0o600)
    with service_user(tmp_path):
        assert ctl.run("check").returncode == 0
        assert ctl.run("check", "--dns", tmp_path / "elsewhere").returncode == 0
