"""The service files as their own tools judge them, and what they ask of the service manager."""

import os
import subprocess

import pytest

from installed import REPOSITORY, UNITS, launchd_files

SERVICES = [
    "dns_proxy_mac",
    "dns_proxy_mac-watch",
    "dns_proxy_mac-host",
    "dns_proxy_mac-edited",
    "dns_proxy_mac-apply",
    "dns_proxy_mac-unstarted",
    "dns_proxy_upstream",
    "dns_proxy_page",
]
FILES = [f"{name}.service" for name in SERVICES] + ["dns_proxy_mac-edited.path", "dns_proxy_mac-names@.path"]
INSTALLED = [
    "bin/dns_proxy_ctl",
    "lib/systemd/system/dns_proxy_mac-apply.service",
    "lib/systemd/system/dns_proxy_mac-edited.path",
    "lib/systemd/system/dns_proxy_mac-edited.service",
    "lib/systemd/system/dns_proxy_mac-host.service",
    "lib/systemd/system/dns_proxy_mac-names@.path",
    "lib/systemd/system/dns_proxy_mac-unstarted.service",
    "lib/systemd/system/dns_proxy_mac-watch.service",
    "lib/systemd/system/dns_proxy_mac.service",
    "lib/systemd/system/dns_proxy_page.service",
    "lib/systemd/system/dns_proxy_upstream.service",
    "lib/sysusers.d/dns_proxy_mac.conf",
    "lib/sysusers.d/dns_proxy_page.conf",
    "lib/sysusers.d/dns_proxy_upstream.conf",
    "libexec/dns_proxy_mac/after_end",
    "libexec/dns_proxy_mac/before_start",
    "libexec/dns_proxy_mac/create_configuration",
    "libexec/dns_proxy_mac/keep_trace",
    "libexec/dns_proxy_mac/port_is_taken",
    "libexec/dns_proxy_mac/why_unstarted",
    "sbin/dns_proxy_mac",
    "sbin/dns_proxy_page",
    "sbin/dns_proxy_upstream",
    "share/bash-completion/completions/dns_proxy_ctl",
    "share/doc/dns-proxy-mac/changelog.gz",
    "share/doc/dns-proxy-mac/copyright",
    "share/doc/dns-proxy-mac-page/changelog.gz",
    "share/doc/dns-proxy-mac-page/copyright",
    "share/doc/dns-proxy-mac-upstream/changelog.gz",
    "share/doc/dns-proxy-mac-upstream/copyright",
    "share/man/man1/dns_proxy_ctl.1.gz",
    "share/man/man5/dns_proxy_mac.5.gz",
    "share/man/man8/dns_proxy_mac.8.gz",
    "share/man/man8/dns_proxy_page.8.gz",
    "share/man/man8/dns_proxy_upstream.8.gz",
    "share/zsh/vendor-completions/_dns_proxy_ctl",
]
LARGEST_EXPOSURE = 2.0


def analyze(installation, *arguments):
    directory = installation.prefix / UNITS
    environment = {**os.environ, "SYSTEMD_UNIT_PATH": f"{directory}:", "MANPATH": f"{installation.prefix}/share/man:"}
    done = subprocess.run(
        ["systemd-analyze", "--no-pager", *arguments], env=environment,
        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False,
    )
    assert done.returncode == 0, done.stdout
    return done.stdout


def test_installation_is_complete(installation):
    assert installation.files() == sorted(INSTALLED)


@pytest.mark.parametrize("name", FILES)
def test_unit_is_without_a_complaint(installation, name):
    assert analyze(installation, "verify", installation.prefix / UNITS / name) == ""


@pytest.mark.parametrize("name", SERVICES)
def test_sandbox_is_rated_under_two(installation, name, record_property):
    path = installation.prefix / UNITS / f"{name}.service"
    said = analyze(installation, "security", "--offline=true", path)

    rating = float(said.split(f"Overall exposure level for {name}.service: ")[1].split()[0])
    record_property("exposure", rating)
    assert rating < LARGEST_EXPOSURE


def test_proxy_is_restarted_always_and_without_a_limit(installation):
    unit = installation.unit("dns_proxy_mac.service")
    assert unit.get("Service", "Restart") == "always"
    assert unit.get("Unit", "StartLimitIntervalSec") == "0"
    assert unit.all("Service", "RestartPreventExitStatus") == []


def test_proxy_comes_before_name_lookups_and_does_not_wait_for_the_network(installation):
    unit = installation.unit("dns_proxy_mac.service")
    assert unit.all("Unit", "Before") == ["nss-lookup.target"]
    assert unit.all("Unit", "After") == []
    assert "network" not in " ".join(unit.all("Unit", "Wants"))


def test_proxy_has_a_memory_ceiling(installation):
    unit = installation.unit("dns_proxy_mac.service")
    assert unit.get("Service", "MemoryMax") == "640M"
    assert unit.get("Service", "MemorySwapMax") == "0"


def test_check_comes_before_the_start_and_its_errors_count(installation):
    unit = installation.unit("dns_proxy_mac.service")
    script = f"{installation.prefix}/libexec/dns_proxy_mac/before_start"
    assert unit.all("Service", "ExecStartPre")[-1] == script


def test_guard_comes_before_the_service_counts_as_started_and_its_failure_does_not_count(installation):
    unit = installation.unit("dns_proxy_mac.service")
    assert unit.all("Service", "Type") == ["exec"]
    assert unit.all("Service", "ExecStartPost") == [f"+-{installation.prefix}/bin/dns_proxy_ctl guard $MAINPID"]


def test_trace_is_a_file_with_a_size_that_is_kept_before_each_start(installation):
    unit = installation.unit("dns_proxy_mac.service")
    assert unit.get("Service", "StandardOutput") == "append:/var/log/Varnok/trace"
    assert unit.get("Service", "LimitFSIZE") == "128M"
    assert unit.all("Service", "LogNamespace") == []
    assert unit.all("Service", "ExecStartPre")[0] == f"+-{installation.prefix}/libexec/dns_proxy_mac/keep_trace"


def test_launchd_keeps_the_proxy_and_its_watch_alive(tmp_path):
    plists = launchd_files(tmp_path, "/usr/local")
    start = "/usr/local/libexec/dns_proxy_mac/start"

    for label, role in (("local.dns_proxy_mac", "proxy"), ("local.dns_proxy_mac.watch", "watch")):
        plist = plists[label]
        assert plist["ProgramArguments"] == [start, role]
        assert (plist["RunAtLoad"], plist["KeepAlive"], plist["ThrottleInterval"]) == (True, True, 1)


def test_launchd_looks_for_edits_of_all_files(tmp_path):
    plist = launchd_files(tmp_path, "/usr/local")["local.dns_proxy_mac.edited"]
    assert plist["WatchPaths"] == [
        "/var/log/Varnok/dns",
        "/var/log/Varnok/hostmap",
        "/var/log/Varnok/names",
        "/var/log/Varnok/names.d",
        "/var/log/Varnok/never_listed",
    ]
    assert plist["ProgramArguments"] == ["/usr/local/libexec/dns_proxy_mac/apply_edit"]
    assert "KeepAlive" not in plist and "RunAtLoad" not in plist


def test_launchd_files_are_named_after_their_labels(tmp_path):
    labels = launchd_files(tmp_path, "/usr/local")
    assert {path.stem for path in tmp_path.glob("*.plist")} == set(labels)
    assert len(labels) == 6


def test_rotation_on_macos_ends_the_programs_whose_logs_it_renames():
    lines = (REPOSITORY / "packaging/launchd/newsyslog.conf").read_text().splitlines()
    rows = [line.split() for line in lines if not line.startswith("#")]
    assert rows == [
        ["/var/log/Varnok/trace", "640", "7", "*", "$D0", "J", "/var/run/dns_proxy_mac.pid", "15"],
        ["/var/log/Varnok/events", "644", "3", "1024", "*", "J", "/var/run/dns_proxy_mac.watch.pid", "15"],
    ]
