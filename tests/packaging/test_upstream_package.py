"""The .deb of dns_proxy_upstream, beside the proxy's and alone."""

import pathlib
import subprocess
import sys

import pytest

from harness import Application, query, wait_until

from asking import wait_for_answers
from system_copy import SystemCopy
from test_package import named_after_the_proxy

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "upstream"))

from fake_server import FakeServer  # noqa: E402  (found through the line above)

UPSTREAM = "dns_proxy_upstream.service"
SERVERS = "/var/log/Varnok/servers"
DNS = "/var/log/Varnok/dns"
THREE = "127.0.53.1\n127.0.53.2\n127.0.53.3\n"


@pytest.fixture
def system(system_copies):
    with SystemCopy() as copy:
        copy.put("/etc/resolv.conf", "nameserver 192.0.2.1\n")
        yield copy


def install(system, *packages):
    """All in one go, as apt does."""
    for number, package in enumerate(packages):
        system.file(f"/package{number}.deb").write_bytes(package.read_bytes())
    return system.run("dpkg", "--install", *(f"/package{number}.deb" for number in range(len(packages))))


def test_lintian_has_nothing_to_object(upstream_package):
    done = subprocess.run(
        ["lintian", "--allow-root", "--fail-on", "error,warning", upstream_package],
        capture_output=True, text=True, check=False,
    )
    assert (done.returncode, done.stdout) == (0, "")


def test_fresh_packages_ask_the_network_s_servers_through_it(system, package, upstream_package):
    install(system, package, upstream_package)
    assert system.file(DNS).read_text() == THREE
    assert system.file(SERVERS).read_text() == "network\n"

    system.boot()
    wait_for_answers()
    wait_until(lambda: "192.0.2.1" in system.run("dns_proxy_ctl", "status"), "the network's server in the status")


def test_the_booted_service_passes_responses_on(system, package, upstream_package):
    install(system, package, upstream_package)
    system.put(SERVERS, "127.0.9.1\n")
    with FakeServer("127.0.9.1"):
        system.boot()
        wait_for_answers()
        with Application() as application:
            application.send(query(0x1234, "www.example"))
            assert application.receive()[-4:] == bytes([10, 0, 0, 1])
    assert system.run("stat", "-c", "%U", "/run/dns_proxy_upstream/state") == "_dns_proxy_upstream\n"


def test_beside_a_proxy_with_servers_of_its_own_it_says_how_it_is_used(system, package, upstream_package):
    install(system, package)
    said = install(system, upstream_package)
    assert "to have the proxy use it, put 127.0.53.1, 127.0.53.2 and 127.0.53.3 into /var/log/Varnok/dns\n" in said
    assert system.file(DNS).read_text() == "192.0.2.1\n"


def test_installation_keeps_a_file_of_servers_that_is_there(system, upstream_package):
    system.put(SERVERS, "192.0.2.7\n")
    install(system, upstream_package)
    assert system.file(SERVERS).read_text() == "192.0.2.7\n"


def test_purge_leaves_nothing(system, upstream_package):
    before = named_after_the_proxy(system)
    accounts = system.file("/etc/passwd").read_text()
    system.boot()
    install(system, upstream_package)
    wait_until(lambda: system.state(UPSTREAM) == "active", "the service")

    system.run("dpkg", "--purge", "dns-proxy-mac-upstream")

    assert named_after_the_proxy(system) == before
    assert system.file("/etc/passwd").read_text() == accounts
