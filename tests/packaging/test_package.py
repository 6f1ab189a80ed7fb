"""The .deb: in good order, and through its whole life in a copy of this machine's system."""

import os
import re
import socket
import subprocess

import pytest

from harness import wait_until
from harness.namespace import where_there_is_ipv6

from asking import is_answering, wait_for_answers
from installed import REPOSITORY, with_higher_version
from system_copy import SystemCopy

PROXY = "dns_proxy_mac.service"
DNS = "/var/log/Varnok/dns"
HOSTMAP = "/var/log/Varnok/hostmap"
OWN_DNS = "192.0.2.7\n"
OWN_HOSTMAP = "proxy.example:10.0.0.1\nown.example:10.0.0.7\n"
PLACES = ["etc", "usr", "var", "run", "opt"]


@pytest.fixture
def system(system_copies):
    """A host with two servers, one of them on itself."""
    with SystemCopy() as copy:
        copy.put("/etc/resolv.conf", "nameserver 127.0.0.1\nnameserver 2001:db8::1\nnameserver 192.0.2.1\n")
        yield copy


@pytest.fixture(scope="module")
def next_version(package, tmp_path_factory):
    return with_higher_version(package, tmp_path_factory.mktemp("next"))


def install(system, package):
    return system.run("dpkg", "--install", system.take(package))


def write_own_configuration(system):
    system.put(DNS, OWN_DNS)
    system.put(HOSTMAP, OWN_HOSTMAP)


def has_own_configuration(system):
    return (system.file(DNS).read_text(), system.file(HOSTMAP).read_text()) == (OWN_DNS, OWN_HOSTMAP)


def named_after_the_proxy(system):
    """Every file of the copy whose name tells that it belongs to the proxy."""
    places = [str(system.file(place)) for place in PLACES]
    names = ["-iname", "*dns[-_]proxy*", "-o", "-name", "Varnok*"]
    found = subprocess.run(
        ["find", *places, *names], env={**os.environ, "LC_ALL": "C"}, capture_output=True, text=True, check=False
    )
    # The machine's own files may go at any time.
    complaints = found.stderr.splitlines()
    assert [line for line in complaints if not line.endswith(": No such file or directory")] == []
    return sorted(line.removeprefix(str(system.root)) for line in found.stdout.splitlines())


def version_of_the_sources():
    text = (REPOSITORY / "CMakeLists.txt").read_text()
    return re.search(r"^project\(dns_proxy_mac VERSION ([0-9.]+)", text, re.MULTILINE).group(1)


def test_lintian_has_nothing_to_object(package):
    done = subprocess.run(
        ["lintian", "--allow-root", "--fail-on", "error,warning", package], capture_output=True, text=True, check=False
    )
    assert (done.returncode, done.stdout) == (0, "")


def test_version_is_the_same_everywhere(package):
    field = subprocess.run(["dpkg-deb", "--field", package, "Version"], capture_output=True, text=True, check=True)
    log = (REPOSITORY / "packaging/deb/changelog").read_text()
    assert field.stdout.strip() == version_of_the_sources()
    assert log.startswith(f"dns-proxy-mac ({version_of_the_sources()}) ")


def test_first_installation_takes_the_servers_of_the_host_but_no_loopback_one_and_a_first_name_at_once(system, package):
    install(system, package)

    assert system.file(DNS).read_text() == "192.0.2.1\n"
    assert system.file(HOSTMAP).read_text() == "proxy.example:10.0.0.1\n"
    assert [oct(system.file(path).stat().st_mode) for path in (DNS, HOSTMAP)] == ["0o100644"] * 2

    system.run("dns_proxy_ctl", "name", "add", "printer.lan", "10.0.0.7")
    assert system.file(HOSTMAP).read_text().endswith("\nprinter.lan:10.0.0.7\n")


def test_servers_behind_a_local_stub_are_found(system, package):
    system.put("/etc/resolv.conf", "nameserver 127.0.0.53\n")
    stub = "mkdir -p /run/systemd/resolve && echo nameserver 192.0.2.9 >/run/systemd/resolve/resolv.conf"
    system.run("sh", "-c", f"{stub} && dpkg --install {system.take(package)}")

    assert system.file(DNS).read_text() == "192.0.2.9\n"


def test_host_without_a_server_is_told_so_and_gets_an_empty_list(system, package):
    system.put("/etc/resolv.conf", "nameserver 127.0.0.1\n")
    said = install(system, package)

    assert "create_configuration: no server to ask: put the address of one into /var/log/Varnok/dns\n" in said
    assert system.file(DNS).read_text() == ""


def test_host_with_ipv6_servers_alone_is_told_so(system, package):
    system.put("/etc/resolv.conf", "nameserver ::1\nnameserver 2001:db8::1\n")
    said = install(system, package)

    assert "create_configuration: this host names its servers by IPv6 addresses only, and the proxy asks IPv4 ones: " in said


def test_installation_keeps_files_that_are_there(system, package):
    write_own_configuration(system)
    install(system, package)
    assert has_own_configuration(system)


def test_installation_without_a_running_systemd_enables_the_service_for_the_next_boot(system, package):
    install(system, package)
    assert system.run("systemctl", "is-enabled", PROXY) == "enabled\n"

    system.boot()
    wait_for_answers()


def test_installation_starts_the_service(system, package):
    system.boot()
    install(system, package)

    wait_for_answers()
    assert system.run("systemctl", "is-enabled", PROXY) == "enabled\n"


@pytest.mark.parametrize(
    "family, address",
    [
        (socket.AF_INET, "127.0.0.1"),
        (socket.AF_INET, "0.0.0.0"),
        *where_there_is_ipv6((socket.AF_INET6, "::"), (socket.AF_INET6, "::ffff:127.0.0.1")),
    ],
)
def test_service_is_enabled_but_not_started_when_its_port_is_taken(system, package, family, address):
    system.boot()
    with socket.socket(family, socket.SOCK_DGRAM) as other:
        other.bind((address, 53))
        said = install(system, package)

    assert "dns-proxy-mac: port 53 of 127.0.0.1 is taken: the proxy is not started now" in said
    assert system.run("systemctl", "is-enabled", PROXY) == "enabled\n"
    assert system.state(PROXY) == "inactive"
    assert system.value(PROXY, "ExecMainStartTimestamp") == ""


def test_sockets_elsewhere_do_not_keep_the_service_from_starting(system, package):
    system.boot()
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as other:
        other.bind(("127.0.0.53", 53))
        install(system, package)

        wait_for_answers()


def test_upgrade_keeps_the_configuration_and_restarts_the_running_proxy(system, package, next_version):
    system.boot()
    write_own_configuration(system)
    install(system, package)
    wait_for_answers()
    before = system.value(PROXY, "MainPID")

    install(system, next_version)

    assert system.value(PROXY, "MainPID") not in ("0", before)
    wait_for_answers()
    assert has_own_configuration(system)


def test_upgrade_leaves_a_disabled_service_alone(system, package, next_version):
    system.boot()
    install(system, package)
    system.run("systemctl", "disable", "--now", PROXY)

    install(system, next_version)

    assert system.state(PROXY) == "inactive"
    assert system.value(PROXY, "UnitFileState") == "disabled"


def test_removal_ends_the_service_and_keeps_the_configuration(system, package):
    system.boot()
    write_own_configuration(system)
    install(system, package)
    wait_for_answers()

    system.run("dpkg", "--remove", "dns-proxy-mac")

    assert not is_answering()
    assert has_own_configuration(system)
    assert system.value(PROXY, "LoadState") in ("not-found", "masked")
    assert not system.file("/usr/sbin/dns_proxy_mac").exists()


def test_installation_after_a_removal_takes_up_where_it_was(system, package):
    system.boot()
    write_own_configuration(system)
    install(system, package)
    system.run("dpkg", "--remove", "dns-proxy-mac")

    install(system, package)

    wait_for_answers()
    assert has_own_configuration(system)


def test_purge_leaves_nothing(system, package):
    before = named_after_the_proxy(system)
    accounts = system.file("/etc/passwd").read_text()
    system.boot()
    install(system, package)
    wait_for_answers()
    wait_until(system.file("/var/log/Varnok/trace").exists, "the trace")

    system.run("dpkg", "--purge", "dns-proxy-mac")

    assert not is_answering()
    assert named_after_the_proxy(system) == before
    assert system.file("/etc/passwd").read_text() == accounts
    assert system.run("sh", "-c", "dpkg --list dns-proxy-mac 2>&1 || true").startswith("dpkg-query: no packages found")
