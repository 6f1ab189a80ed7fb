"""Runs the whole session in a network and a file tree of its own, with the package as built. Needs root."""

import pathlib
import subprocess
import sys

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))

import harness  # noqa: E402  (found through the line above)
from harness import busy_machine  # noqa: E402

from asking import CONFIGURED_SERVER  # noqa: E402
from installed import REPOSITORY, Installation  # noqa: E402
from system_copy import SystemCopy, need_a_copy_that_starts  # noqa: E402

STATUS_WHEN_IMPOSSIBLE = 2


def pytest_configure(config):
    busy_machine.may_try_again(config)
    try:
        harness.wait_at_least(180)  # seconds, for a system to boot
        harness.enter()
        subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=755", "tmpfs", "/run"], check=True)
    except harness.CannotTest as error:
        pytest.exit(str(error), returncode=STATUS_WHEN_IMPOSSIBLE)


@pytest.fixture(scope="session")
def system_copies():
    """To be asked for before the package, which takes long to build: copies of this machine's system run here."""
    reason = None
    try:
        need_a_copy_that_starts()
    except harness.CannotTest as error:
        reason = str(error)  # to be said alone, not as what came of the exception
    if reason:
        pytest.fail(reason, pytrace=False)


@pytest.fixture(scope="session")
def package():
    """The .deb, built from the sources as they are; with the warnings, and so the cached objects, of ./test."""
    command = [REPOSITORY / "packaging/deb/build", "-DWARNINGS_AS_ERRORS=ON"]
    built = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    assert built.returncode == 0, built.stdout
    [file] = (REPOSITORY / "build/deb/packages").glob("dns-proxy-mac_*.deb")
    return file


@pytest.fixture(scope="session")
def upstream_package(package):
    """The .deb of dns_proxy_upstream."""
    [file] = package.parent.glob("dns-proxy-mac-upstream_*.deb")
    return file


@pytest.fixture(scope="session")
def page_package(package):
    """The .deb of dns_proxy_page."""
    [file] = package.parent.glob("dns-proxy-mac-page_*.deb")
    return file


@pytest.fixture(scope="session")
def installation(package):
    """What `cmake --install` lays down below a prefix."""
    with Installation() as installed:
        yield installed


@pytest.fixture(scope="module")
def booted(system_copies, package):
    """A copy of the system with the package, booted: one at a time, since all have this network."""
    with SystemCopy() as system:
        system.put("/etc/resolv.conf", "nameserver 192.0.2.1\n")
        system.run("dpkg", "--install", system.take(package))
        system.put("/var/log/Varnok/dns", f"{CONFIGURED_SERVER}\n")
        system.boot()
        yield system
