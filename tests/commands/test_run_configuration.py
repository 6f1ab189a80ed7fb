"""What ./run makes of the host that it runs on: the two files, and who holds the port."""

import pathlib
import socket
import stat

import pytest

from harness import namespace
from harness.proxy import DNS_FILE, HOSTMAP_FILE


@pytest.fixture(autouse=True)
def no_configuration():
    for path in (DNS_FILE, HOSTMAP_FILE):
        path.unlink(missing_ok=True)
    DNS_FILE.parent.rmdir()
    yield
    DNS_FILE.parent.mkdir(exist_ok=True)


def run_with_resolvers(checkout, text, *command):
    resolvers = checkout.home / "resolv.conf"
    resolvers.write_text(text)
    with namespace.replace_file("/etc/resolv.conf", resolvers):
        return checkout.run(*(command or ["./run"]))


def permissions(path):
    return stat.S_IMODE(path.stat().st_mode)


def test_files_can_be_read_by_the_proxys_user_whatever_the_umask(checkout):
    result = run_with_resolvers(checkout, "nameserver 192.0.2.1\n", "bash", "-c", "umask 077; ./run")

    assert result.returncode == 0, result.stdout
    assert [permissions(path) for path in (DNS_FILE.parent, DNS_FILE, HOSTMAP_FILE)] == [0o755, 0o644, 0o644]
    assert DNS_FILE.read_text() == "192.0.2.1\n"


def test_resolvers_of_ipv6_only_get_one_sentence_and_the_proxy_is_started(checkout):
    result = run_with_resolvers(checkout, "nameserver 127.0.0.53\nnameserver 2001:db8::1\n")

    assert result.returncode == 0, result.stdout
    assert result.stdout.count("run: this host names its servers by IPv6 addresses only, and the proxy asks IPv4") == 1
    assert DNS_FILE.read_bytes() == b""
    assert result.stdout.endswith("dns_proxy_mac was started\n")


@pytest.mark.parametrize("address", ["127.0.0.1", "0.0.0.0"])
def test_port_that_is_taken_is_seen_without_ss_and_lsof(checkout, address):
    path = checkout.without("ss", "lsof")
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as holder:
        holder.bind((address, 53))
        result = checkout.run("./run", path=path)

    assert result.returncode == 1
    assert result.stdout.endswith("run: port 53 is taken: by another program; ss or lsof would tell which\n")


def test_port_that_is_free_is_seen_without_ss_and_lsof(checkout):
    result = checkout.run("./run", path=checkout.without("ss", "lsof"))
    assert result.stdout.endswith("dns_proxy_mac was started\n")


def test_without_dig_its_package_is_named(checkout):
    result = checkout.run("./run", path=checkout.without("dig"))

    assert "run: installing bind9-dnsutils\n" in result.stdout
    assert "run: with dig (Debian: bind9-dnsutils) you can try 'dig @127.0.0.1" in result.stdout


def test_files_that_are_there_are_left_alone(checkout):
    DNS_FILE.parent.mkdir()
    DNS_FILE.write_text("192.0.2.9\n")
    pathlib.Path(HOSTMAP_FILE).symlink_to("/nowhere")

    checkout.run("./run")

    assert DNS_FILE.read_text() == "192.0.2.9\n"
    assert HOSTMAP_FILE.is_symlink()
    HOSTMAP_FILE.unlink()
