"""The .deb of dns_proxy_page, beside the proxy's: its service in its sandbox, and through its whole life."""

import subprocess

import pytest

from harness import wait_until

from asking import ask_mapped_name, wait_for_answers
from asking_page import get
from installed import with_higher_version
from system_copy import SystemCopy
from test_package import named_after_the_proxy

PAGE = "dns_proxy_page.service"
FOLDER = "/var/lib/dns_proxy_page"
DATABASE = f"{FOLDER}/memory.db"


def queries():
    """How many queries from the host map the page has counted."""
    now = get("/api/now")
    return now and now["day"]["host_map"]


def well_subjects():
    """Of what dns_proxy_ctl said last: that may have been while everything was starting."""
    status = get("/api/now")["status"] or {"rows": []}
    return {row["subject"] for row in status["rows"] if row["well"]}


def install(system, *packages):
    """All in one go, as apt does."""
    for number, package in enumerate(packages):
        system.file(f"/package{number}.deb").write_bytes(package.read_bytes())
    return system.run("dpkg", "--install", *(f"/package{number}.deb" for number in range(len(packages))))


def ask_until_counted():
    """One query for the host map; until the page tells of it."""
    before = queries()
    ask_mapped_name(1)
    wait_until(lambda: queries() > before, "the query on the page")


@pytest.fixture
def system(system_copies):
    with SystemCopy() as copy:
        copy.put("/etc/resolv.conf", "nameserver 192.0.2.1\n")
        yield copy


def test_lintian_has_nothing_to_object(page_package):
    done = subprocess.run(
        ["lintian", "--allow-root", "--fail-on", "error,warning", page_package],
        capture_output=True, text=True, check=False,
    )
    assert (done.returncode, done.stdout) == (0, "")


def test_the_booted_service_counts_remembers_and_shows_the_host_from_within_its_sandbox(system, package, page_package):
    said = install(system, package, page_package)
    system.boot()
    wait_for_answers()
    assert "dns-proxy-mac-page: the page is at http://127.0.0.1:5380/\n" in said
    wait_until(lambda: queries() is not None, "the page")
    wait_until(lambda: get("/api/now")["proxy"]["state"] == "serving", "the proxy to be seen serving")
    ask_until_counted()
    wait_until(lambda: get("/api/now")["status"] and get("/api/now")["check"], "what dns_proxy_ctl says")
    wait_until(lambda: {"proxy", "probe"} <= well_subjects(), "the proxy to be well as dns_proxy_ctl sees it")
    assert get("/api/name?name=proxy.example")["trace"] != []

    assert system.run("stat", "-c", "%U:%G %a", FOLDER, DATABASE).splitlines() == [
        "_dns_proxy_page:_dns_proxy_page 750", "_dns_proxy_page:_dns_proxy_page 640"
    ]
    before = queries()
    system.run("systemctl", "restart", PAGE)
    wait_until(lambda: (queries() or 0) >= before, "what it has remembered")
    process = system.value(PAGE, "MainPID")
    system.run("systemctl", "kill", "--signal=KILL", PAGE)
    wait_until(lambda: system.value(PAGE, "MainPID") not in ("", "0", process), "its next start")
    wait_until(lambda: (queries() or 0) >= before, "what it has remembered")
    ask_until_counted()
    wait_until(lambda: get("/api/queries?name=proxy.example")["count"] == queries(), "as many single queries")


def test_upgrade_and_removal_keep_what_is_remembered_and_a_purge_leaves_nothing(system, package, page_package, tmp_path):
    before = named_after_the_proxy(system)
    accounts = system.file("/etc/passwd").read_text()
    install(system, package, page_package)
    system.boot()
    wait_for_answers()
    wait_until(lambda: queries() is not None, "the page")
    ask_until_counted()
    process, counted = system.value(PAGE, "MainPID"), queries()

    install(system, with_higher_version(page_package, tmp_path))
    assert system.value(PAGE, "MainPID") not in ("0", process)
    wait_until(lambda: (queries() or 0) >= counted, "what the old version has remembered")

    system.run("dpkg", "--remove", "dns-proxy-mac-page")
    assert queries() is None
    assert system.value(PAGE, "LoadState") in ("not-found", "masked")
    assert system.file(DATABASE).exists()

    install(system, page_package)
    wait_until(lambda: (queries() or 0) >= counted, "what was remembered before the removal")

    system.run("dpkg", "--purge", "dns-proxy-mac-page", "dns-proxy-mac")
    assert queries() is None
    assert named_after_the_proxy(system) == before
    assert system.file("/etc/passwd").read_text() == accounts
