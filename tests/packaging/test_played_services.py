"""The command lines of the service files, played: after a datagram that ends the intake or the relay the
proxy answers again with nobody touching it, and launchd's scripts do what systemd does by itself."""

import contextlib
import os
import pathlib
import signal
import subprocess

import pytest

from harness import wait_until
from harness.proxy import DNS_FILE, HOSTMAP_FILE, write_configuration

from asking import (
    CONFIGURED_SERVER,
    MAPPED_NAME,
    address_of,
    answer_now,
    end_intake,
    end_relay,
    is_answering,
    seconds_until_answered_after,
    wait_for_answers,
)
from asking_page import get
from installed import Installation, launchd_files
from service_manager import Service, as_unit_says, seconds

SECONDS_WITHOUT_ANSWERS = 3
USUAL_DNS = f"{CONFIGURED_SERVER}\n".encode()
USUAL_HOSTMAP = b"proxy.example:10.0.0.1\n"
TRACE = pathlib.Path("/var/log/Varnok/trace")
FULL_TRACE = pathlib.Path("/var/log/Varnok/trace.before")
EVENTS = pathlib.Path("/var/log/Varnok/events")
PID_FILE = pathlib.Path("/var/run/dns_proxy_mac.pid")
SAID_BY_WATCH = "The query thread of the proxy has ended: "
MEBIBYTE = 1 << 20


@pytest.fixture(autouse=True)
def configuration():
    write_configuration(USUAL_DNS, USUAL_HOSTMAP)
    yield
    for path in (TRACE, FULL_TRACE, EVENTS):
        path.unlink(missing_ok=True)


@pytest.fixture
def systemd(installation, tmp_path):
    """The proxy with its watch, as the units say. Yields the service and what it prints."""
    proxy, watch = (installation.unit(f"{name}.service") for name in ("dns_proxy_mac", "dns_proxy_mac-watch"))
    assert watch.get("Unit", "BindsTo") == "dns_proxy_mac.service"
    printed = tmp_path / "printed"
    with printed.open("wb") as output, Service(
        [*as_unit_says(proxy), *proxy.command("ExecStart")],
        before=[[*as_unit_says(proxy), *proxy.command("ExecStartPre")]],
        bound=[[*as_unit_says(watch), *watch.command("ExecStart")]],
        pause=seconds(proxy.get("Service", "RestartSec")),
        output=output,
    ) as service:  # fmt: skip
        wait_for_answers()
        yield service, printed


class Launchd:
    """The two jobs that launchd keeps alive, and the one that it runs after an edit."""

    def __init__(self, directory, prefix):
        self._plists = launchd_files(directory, prefix)
        libexec = prefix / "libexec/dns_proxy_mac"
        for name in ("start", "apply_edit", "start_page"):
            os.replace(directory / name, libexec / name)
        self.libexec = libexec
        self._directory = directory

    @contextlib.contextmanager
    def job(self, label, **environment):
        plist = self._plists[label]
        assert plist["KeepAlive"]
        variables = {"PATH": "/usr/bin:/bin:/usr/sbin:/sbin", **plist.get("EnvironmentVariables", {}), **environment}
        with Service(plist["ProgramArguments"], interval=plist["ThrottleInterval"], environment=variables) as service:
            yield service

    def apply_edit(self, service):
        """Runs the job that watches the files; its way to launchd leads to `service`. Its exit status."""
        asked = self._directory / "launchctl_was_asked"
        launchctl = self._directory / "launchctl"
        launchctl.write_text(f'#!/bin/sh\necho "$@" >>{asked}\n')
        launchctl.chmod(0o755)
        command = self._plists["local.dns_proxy_mac.edited"]["ProgramArguments"]
        path = f"{self._directory}:/usr/bin:/bin"
        status = subprocess.run(command, env={"PATH": path}, stdout=subprocess.DEVNULL, check=False).returncode
        if asked.exists():
            assert asked.read_text() == "kickstart -k system/local.dns_proxy_mac\n"
            service.end()
        return status


    @contextlib.contextmanager
    def page(self):
        """The job of the page, whose folder is the test's; what it asks `install` and `sudo` for is let pass."""
        script = self.libexec / "start_page"
        script.write_text(script.read_text().replace("/var/db/", f"{self._directory}/"))
        for name, arguments in (("install", "-d -o daemon -g admin -m 750"), ("sudo", "-u daemon -g admin")):
            skipped = len(arguments.split())
            stand_in = self._directory / name
            last = 'mkdir -p "$1"' if name == "install" else 'exec "$@"'
            stand_in.write_text(f'#!/bin/bash\n[ "${{*:1:{skipped}}}" = "{arguments}" ] || exit 1\nshift {skipped}\n{last}\n')
            stand_in.chmod(0o755)
        path = f"{self._directory}:/usr/bin:/bin"
        with self.job("local.dns_proxy_page", PATH=path) as job:
            yield job


@pytest.fixture
def launchd(package, tmp_path):
    with Installation() as installation:
        yield Launchd(tmp_path, installation.prefix)


@pytest.mark.in_its_time
@pytest.mark.parametrize("ending", [end_intake, end_relay])
def test_systemd_has_the_proxy_answer_again_within_three_seconds(systemd, ending, record_property):
    passed = seconds_until_answered_after(ending)

    record_property("seconds without answers", passed)
    assert passed < SECONDS_WITHOUT_ANSWERS


def test_watch_of_systemd_is_silent_but_for_the_end_of_the_intake(systemd):
    service, printed = systemd
    end_relay()
    wait_for_answers()
    end_intake()
    wait_for_answers()

    assert service.end_statuses == [0, -signal.SIGTERM]
    said = [line for line in printed.read_text().splitlines() if "The query thread" in line]
    assert len(said) == 1
    assert said[0].startswith(SAID_BY_WATCH)


@pytest.mark.in_its_time
@pytest.mark.parametrize("ending", [end_intake, end_relay])
def test_launchd_has_the_proxy_answer_again_within_three_seconds(launchd, ending, record_property):
    with launchd.job("local.dns_proxy_mac"), launchd.job("local.dns_proxy_mac.watch"):
        wait_for_answers()
        passed = seconds_until_answered_after(ending)

    record_property("seconds without answers", passed)
    assert passed < SECONDS_WITHOUT_ANSWERS


def test_watch_of_launchd_tells_the_end_of_the_intake_in_the_events(launchd):
    with launchd.job("local.dns_proxy_mac") as proxy, launchd.job("local.dns_proxy_mac.watch"):
        wait_for_answers()
        end_intake()
        wait_for_answers()

    assert proxy.end_statuses[0] == -signal.SIGTERM
    assert EVENTS.read_text().count(SAID_BY_WATCH) == 1


def test_launchd_starts_the_proxy_with_errors_and_tells_them(launchd):
    DNS_FILE.write_text("not an address\n")
    with launchd.job("local.dns_proxy_mac"):
        wait_for_answers()
    assert ":1: error: " in EVENTS.read_text()


def test_launchd_does_not_start_a_proxy_that_would_circle_and_applies_what_mends_it(launchd):
    DNS_FILE.write_text("127.0.0.1\n")
    with launchd.job("local.dns_proxy_mac") as proxy:
        wait_until(lambda: EVENTS.exists() and ":1: error: " in EVENTS.read_text(), "the verdict")
        assert not is_answering()

        DNS_FILE.write_bytes(USUAL_DNS)
        assert launchd.apply_edit(proxy) == 0
        wait_for_answers()


def test_launchd_applies_an_edit(launchd):
    with launchd.job("local.dns_proxy_mac") as proxy:
        wait_for_answers()
        HOSTMAP_FILE.write_bytes(USUAL_HOSTMAP + b"new.example:10.0.0.2\n")
        assert launchd.apply_edit(proxy) == 0
        wait_until(lambda: address_of("new.example") == "10.0.0.2", "the new name")


def test_edit_with_an_error_leaves_the_proxy_of_launchd_as_it_is(launchd):
    with launchd.job("local.dns_proxy_mac") as proxy:
        wait_for_answers()
        DNS_FILE.write_text("not an address\n")
        assert launchd.apply_edit(proxy) == 2
        wait_for_answers()
        assert proxy.end_statuses == []


def test_trace_of_launchd_keeps_to_its_size_whatever_is_asked(launchd):
    def ask_and_look():
        answer_now(MAPPED_NAME)
        with contextlib.suppress(FileNotFoundError):  # at the moment at which it is put aside
            assert TRACE.stat().st_size <= MEBIBYTE
        return FULL_TRACE.exists()

    with launchd.job("local.dns_proxy_mac", TRACE_MEGABYTES="1") as proxy:
        wait_until(ask_and_look, "the full trace put aside")
        wait_for_answers()

    assert proxy.end_statuses[0] == -signal.SIGXFSZ
    assert FULL_TRACE.stat().st_size == MEBIBYTE


def test_trace_of_launchd_can_be_turned_off(launchd):
    with launchd.job("local.dns_proxy_mac", TRACE_MEGABYTES="0"):
        wait_for_answers()
    assert not TRACE.exists()


def test_rotation_gives_the_proxy_of_launchd_a_new_trace(launchd):
    with launchd.job("local.dns_proxy_mac"):
        wait_for_answers()
        old = TRACE.rename(TRACE.with_name("trace.0"))
        os.kill(int(PID_FILE.read_text()), signal.SIGTERM)
        wait_until(lambda: TRACE.exists() and is_answering(), "a new trace")

        size = old.stat().st_size
        wait_for_answers()
        assert old.stat().st_size == size
    old.unlink()


def test_launchd_keeps_the_page_alive_and_it_remembers(launchd):
    def counted():
        now = get("/api/now")
        return now["day"]["host_map"] if now else 0

    with launchd.job("local.dns_proxy_mac"), launchd.page() as page:
        wait_for_answers()
        wait_until(lambda: get("/api/now"), "the page")
        before = counted()
        answer_now(MAPPED_NAME)
        wait_until(lambda: counted() > before, "the query on the page")
        before = counted()
        page.end(signal.SIGKILL)
        wait_until(lambda: page.end_statuses and get("/api/now"), "its next start")
        wait_until(lambda: counted() >= before, "what it has remembered")
        wait_until(lambda: get("/api/now")["status"], "what dns_proxy_ctl says")
