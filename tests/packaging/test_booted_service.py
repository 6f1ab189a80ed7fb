"""The installed package under a real systemd: started at boot, restarted, watched, kept up to its files."""

import contextlib
import socket

import pytest

from harness import deadline_seconds, query, wait_until

from asking import (
    CONFIGURED_SERVER,
    MAPPED_NAME,
    address_of,
    answer_now,
    ask_mapped_name,
    end_intake,
    end_relay,
    is_answering,
    seconds_until_answered_after,
    wait_for_answers,
)

PROXY = "dns_proxy_mac.service"
WATCH = "dns_proxy_mac-watch.service"
EDITS = "dns_proxy_mac-edited.path"
APPLY = "dns_proxy_mac-apply.service"
EDITED = "dns_proxy_mac-edited.service"
UNSTARTED = "dns_proxy_mac-unstarted.service"
DNS = "/var/log/Varnok/dns"
HOSTMAP = "/var/log/Varnok/hostmap"
USUAL_DNS = f"{CONFIGURED_SERVER}\n"
USUAL_HOSTMAP = "proxy.example:10.0.0.1\n"
BIND_CAPABILITY = "0000000000000400"
SECONDS_WITHOUT_ANSWERS = 3
TRACE = "/var/log/Varnok/trace"
TRACE_BEFORE = "/var/log/Varnok/trace.before"
DROP_IN = "/etc/systemd/system/dns_proxy_mac.service.d/trace.conf"
MEBIBYTE = 1 << 20
QUERIES_FOR_HALF_A_MEBIBYTE = 1000


def stop_edits(system):
    """The watch for edits first: what it has begun would start the application of one again."""
    system.run("systemctl", "stop", EDITS)
    wait_until(lambda: system.state(EDITED) not in ("activating", "active"), "the end of what an edit has begun")
    system.run("systemctl", "stop", APPLY)


@pytest.fixture
def system(booted):
    """Booted and serving, with the usual files, and no edit under way."""
    stop_edits(booted)
    if booted.file(DNS).read_text() != USUAL_DNS or booted.file(HOSTMAP).read_text() != USUAL_HOSTMAP:
        booted.put(DNS, USUAL_DNS)
        booted.put(HOSTMAP, USUAL_HOSTMAP)
        booted.run("systemctl", "stop", PROXY)
    booted.run("systemctl", "start", PROXY, EDITS)
    wait_for_answers()
    wait_until(lambda: booted.state(WATCH) == "active", "the watch")
    return booted


def main_process(system, unit=PROXY):
    """Its status as the kernel tells it, by names."""
    inside = system.value(unit, "MainPID")
    text = system.run("cat", f"/proc/{inside}/status")
    return dict(line.split(":\t", 1) for line in text.splitlines())


def has_restarted_since(system, before):
    now = system.value(PROXY, "MainPID")
    return now not in ("", "0", before)


def journal(system, *selection):
    """The messages of the journal, all that has been printed by now included."""
    system.run("journalctl", "--sync")
    return system.run("journalctl", "--output=cat", "--no-pager", *selection)


def said_at_last_start(system):
    """What the check before it has printed since the proxy was started last, and what the service manager has."""
    invocation = system.value(PROXY, "InvocationID")
    return journal(system, f"_SYSTEMD_INVOCATION_ID={invocation}")


def status_as_shown(system):
    """What people see. Its exit status tells the state, which is not wanted here."""
    return system.run("sh", "-c", f"systemctl status --no-pager --full {PROXY} || true")


def applications(system):
    """How many edits have been applied to the end since the boot."""
    return journal(system, f"--unit={APPLY}").count(f"Finished {APPLY}")


@contextlib.contextmanager
def setting(system, line):
    """One line of the administrator's for the proxy's service, for a `with` block."""
    def restart_with(text):
        system.put(DROP_IN, text)
        system.run("systemctl", "daemon-reload")
        system.run("systemctl", "restart", PROXY)
        wait_for_answers()

    restart_with(f"[Service]\n{line}\n")
    try:
        yield
    finally:
        restart_with("")


def test_proxy_serves_after_boot_and_before_names_are_looked_up(system):
    started = int(system.value(PROXY, "ActiveEnterTimestampMonotonic"))
    lookups = int(system.value("nss-lookup.target", "ActiveEnterTimestampMonotonic"))

    assert 0 < started <= lookups
    assert system.state("network-online.target") == "inactive"


def test_proxy_runs_as_its_own_user_with_the_bind_capability_only(system):
    status = main_process(system)

    user = system.run("id", "--user", "_dns_proxy_mac").strip()
    assert status["Uid"].split() == [user] * 4
    assert user != "0"
    assert {status[name] for name in ("CapPrm", "CapEff", "CapBnd", "CapAmb")} == {BIND_CAPABILITY}
    assert status["NoNewPrivs"] == "1"
    assert status["Seccomp"] == "2"


def test_watch_runs_as_the_same_user_with_no_capability(system):
    status = main_process(system, WATCH)

    assert status["Uid"] == main_process(system)["Uid"]
    assert {status[name] for name in ("CapPrm", "CapEff", "CapBnd", "CapAmb")} == {"0000000000000000"}


@pytest.mark.in_its_time
def test_unguarded_proxy_answers_again_within_three_seconds_after_the_end_of_its_intake(system, record_property):
    system.run("dns_proxy_ctl", "guard", "--remove")

    seconds = seconds_until_answered_after(end_intake)

    record_property("seconds without answers", seconds)
    assert seconds < SECONDS_WITHOUT_ANSWERS


@pytest.mark.in_its_time
def test_unguarded_proxy_answers_again_within_three_seconds_after_the_end_of_its_relay(system, record_property):
    system.run("dns_proxy_ctl", "guard", "--remove")

    seconds = seconds_until_answered_after(end_relay)

    record_property("seconds without answers", seconds)
    assert seconds < SECONDS_WITHOUT_ANSWERS


def test_watch_is_bound_to_the_proxy_and_comes_back_with_it(system):
    before = system.value(WATCH, "MainPID")
    system.run("dns_proxy_ctl", "guard", "--remove")

    end_intake()
    wait_for_answers()

    wait_until(lambda: system.value(WATCH, "MainPID") not in ("", "0", before), "another watch")
    said = journal(system, f"--unit={WATCH}", f"_PID={before}")
    assert said.count("\n") == 1
    assert said.startswith("The query thread of the proxy has ended: ")


def test_proxy_is_restarted_however_often_it_ends(system):
    for _ in range(8):
        before = system.value(PROXY, "MainPID")
        system.run("systemctl", "kill", "--signal=KILL", PROXY)
        wait_until(lambda gone=before: has_restarted_since(system, gone), "another proxy")

    wait_for_answers()


def test_edit_of_either_file_is_applied(system):
    system.put(HOSTMAP, USUAL_HOSTMAP + "new.example:10.0.0.2\n")
    wait_until(lambda: address_of("new.example") == "10.0.0.2", "the new name")

    before = system.value(PROXY, "MainPID")
    system.put(DNS, "127.0.0.3\n")
    wait_until(lambda: has_restarted_since(system, before), "another proxy")
    added = "func: StartDnsSrv(line:136) Add KQ DNS to list: 127.0.0.3\n"
    wait_until(lambda: added in system.file(TRACE).read_text(), "the start with the other server")


def test_edit_of_the_names_makes_the_host_map_and_is_applied(system):
    system.run("rm", HOSTMAP)
    system.put("/var/log/Varnok/names", "# for people\n10.0.0.3 Named.example\n")
    wait_until(lambda: address_of("named.example") == "10.0.0.3", "the new name")
    system.run("mkdir", "/var/log/Varnok/names.d")
    system.put("/var/log/Varnok/names.d/list", "0.0.0.0 listed.example\n")
    wait_until(lambda: address_of("listed.example") == "0.0.0.0", "the listed name")
    system.put("/var/log/Varnok/names", "10.0.0.4 named.example\n")
    wait_until(lambda: address_of("named.example") == "10.0.0.4", "the other address")
    system.run("rm", "-r", "/var/log/Varnok/names", "/var/log/Varnok/names.d")


def test_edit_while_the_last_one_is_applied_is_not_lost(system):
    for last in range(2, 6):
        before = system.value(PROXY, "MainPID")
        system.put(HOSTMAP, USUAL_HOSTMAP + f"new.example:10.0.0.{last}\n")
        wait_until(lambda old=before: has_restarted_since(system, old), "the restart")

    wait_until(lambda: address_of("new.example") == "10.0.0.5", "the last edit")


def test_edit_while_the_last_one_is_checked_has_both_checked_anew(system):
    system.put(HOSTMAP, USUAL_HOSTMAP + "new.example:10.0.0.2\n")
    # Whoever looks too late finds it applied.
    wait_until(
        lambda: system.state(APPLY) == "activating" or address_of("new.example") == "10.0.0.2",
        "the start of its application",
    )
    first = system.value(APPLY, "InvocationID")
    wait_until(lambda: system.value(EDITS, "SubState") == "waiting", "the look for the next edit")
    system.put(HOSTMAP, USUAL_HOSTMAP + "new.example:10.0.0.3\n")

    wait_until(lambda: system.value(APPLY, "InvocationID") not in ("", first), "another application")
    wait_until(lambda: address_of("new.example") == "10.0.0.3", "the last edit")


def test_edit_with_an_error_leaves_the_proxy_as_it_is(system):
    before = system.value(PROXY, "MainPID")
    system.put(DNS, "not an address\n")

    wait_until(lambda: system.state(APPLY) == "failed", "the verdict on the edit")
    assert system.value(APPLY, "ExecMainStatus") == "2"
    wait_for_answers()
    assert system.value(PROXY, "MainPID") == before
    said = journal(system, f"--unit={APPLY}")
    assert "/var/log/Varnok/dns:1: error: " in said


def test_file_that_the_proxys_user_may_not_read_leaves_the_proxy_as_it_is(system):
    before = system.value(PROXY, "MainPID")
    verdict = "/var/log/Varnok/hostmap:0: error: it can't be read: Permission denied -> "
    system.file(HOSTMAP).chmod(0o600)  # as an editor under a strict umask leaves it
    try:
        wait_until(lambda: verdict in journal(system, f"--unit={APPLY}"), "the verdict on the edit")
        wait_until(lambda: system.state(APPLY) == "failed", "the end of the edit")
        wait_until(lambda: address_of("proxy.example") == "10.0.0.1", "the address")
        assert system.value(PROXY, "MainPID") == before
    finally:
        system.file(HOSTMAP).chmod(0o644)


def test_errors_do_not_keep_the_proxy_from_starting(system):
    system.run("systemctl", "stop", EDITS, PROXY)
    system.put(DNS, f"{CONFIGURED_SERVER}\n\nnot an address\n")
    system.run("systemctl", "start", PROXY)

    wait_for_answers()
    said = said_at_last_start(system)
    assert "/var/log/Varnok/dns:2: error: an empty line -> " in said
    assert "/var/log/Varnok/dns:3: error: " in said


def test_file_that_the_proxys_user_may_not_read_does_not_keep_it_from_starting(system):
    system.run("systemctl", "stop", EDITS, PROXY)
    system.file(DNS).chmod(0)
    system.run("systemctl", "start", PROXY)

    wait_for_answers()
    system.file(DNS).chmod(0o644)


@pytest.mark.parametrize(
    ("servers", "finding"),
    [
        pytest.param(f"{CONFIGURED_SERVER}\n127.0.0.1\n", "dns:2: error: 127.0.0.1 is the proxy itself", id="a circle"),
        pytest.param(f"{CONFIGURED_SERVER}\n" * 255, "dns:255: error: 256 resolution methods", id="256 methods"),
    ],
)
def test_what_would_circle_keeps_the_proxy_from_starting_until_it_is_mended(system, servers, finding):
    system.run("systemctl", "stop", PROXY)
    system.put(DNS, servers)
    system.run("sh", "-c", f"systemctl reset-failed {UNSTARTED} 2>&1 || true")  # it is not loaded before its first run
    mark = journal(system, f"--unit={UNSTARTED}")
    system.run("systemctl", "start", "--no-block", PROXY)
    wait_until(lambda: finding in journal(system, f"--unit={UNSTARTED}")[len(mark):], "the verdict in the ordinary journal")
    # It is started again and again, and a start has said nothing at its beginning.
    wait_until(lambda: f"/var/log/Varnok/{finding}" in said_at_last_start(system), "the verdict of a start")
    wait_until(lambda: finding in status_as_shown(system), "the verdict in the status")
    assert not is_answering()
    assert system.state(PROXY) == "activating"

    system.put(DNS, USUAL_DNS)
    wait_for_answers()


def test_ordinary_journal_names_who_has_the_port(system):
    system.run("systemctl", "stop", PROXY)
    system.run("sh", "-c", f"systemctl reset-failed {UNSTARTED} 2>&1 || true")  # it is not loaded before its first run
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as other:
        other.bind(("127.0.0.1", 53))
        mark = journal(system, f"--unit={UNSTARTED}")
        system.run("systemctl", "start", "--no-block", PROXY)
        wait_until(
            lambda: "port 53 of 127.0.0.1 is taken" in journal(system, f"--unit={UNSTARTED}")[len(mark):],
            "the reason in the ordinary journal",
        )
    wait_for_answers()


@pytest.mark.in_its_time  # five seconds
def test_port_that_is_taken_is_waited_for_without_haste(system):
    system.run("systemctl", "stop", PROXY)
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as other:
        other.bind(("127.0.0.1", 53))
        system.run("systemctl", "start", "--no-block", PROXY)
        wait_until(lambda: system.value(PROXY, "SubState") == "start-pre", "the wait for the port")
        assert not is_answering()

    wait_for_answers()
    assert system.value(PROXY, "NRestarts") == "0"


def test_warnings_do_not_keep_the_proxy_from_starting(system):
    system.run("systemctl", "stop", PROXY)
    system.put(HOSTMAP, USUAL_HOSTMAP + "Never.Found.example:10.0.0.2\n")
    system.run("systemctl", "start", PROXY)

    wait_for_answers()
    assert "/var/log/Varnok/hostmap:2: warning: " in said_at_last_start(system)


def test_stopped_proxy_stays_stopped_after_an_edit(system):
    before = applications(system)
    system.run("systemctl", "stop", PROXY)
    system.put(HOSTMAP, USUAL_HOSTMAP + "new.example:10.0.0.2\n")
    wait_until(lambda: applications(system) > before, "the end of its application")

    assert system.state(PROXY) == "inactive"
    wait_until(lambda: system.state(WATCH) == "inactive", "the end of the watch")


def test_trace_is_a_file_for_administrators_and_the_journal_keeps_what_others_say(system):
    wait_until(lambda: "proxy.example" in system.file(TRACE).read_text(), "the trace of a query")
    said = said_at_last_start(system)

    assert system.run("stat", "--format=%A %U %G", TRACE) == "-rw-r----- root adm\n"
    assert "1 server, 1 host map entry: 1 warning\n" in said
    assert "func: " not in said


def test_trace_takes_no_more_than_two_files_of_its_size(system):
    with setting(system, "LimitFSIZE=1M"):
        before = system.value(PROXY, "MainPID")
        system.run("systemctl", "stop", WATCH)  # for it a second without a query is a quiet moment
        system.file(TRACE_BEFORE).unlink(missing_ok=True)
        wait_until(lambda: answer_now(MAPPED_NAME) and system.file(TRACE_BEFORE).exists(), "the full trace put aside")
        wait_for_answers()

        assert system.file(TRACE_BEFORE).stat().st_size == MEBIBYTE
        assert system.file(TRACE).stat().st_size <= MEBIBYTE
        assert has_restarted_since(system, before)
        assert sorted(path.name for path in system.file(TRACE).parent.glob("trace*")) == ["trace", "trace.before"]


def test_proxy_is_renewed_in_a_quiet_moment_once_its_trace_is_half_full(system):
    with setting(system, "LimitFSIZE=1M"):
        system.file(TRACE_BEFORE).unlink(missing_ok=True)
        system.run("systemctl", "stop", WATCH)  # until all is asked, however long that takes
        ask_mapped_name(times=QUERIES_FOR_HALF_A_MEBIBYTE)
        answer_now(query(0x4321, "9.9.9.9.in-addr.arpa"), deadline_seconds())
        system.run("systemctl", "start", WATCH)
        wait_until(system.file(TRACE_BEFORE).exists, "the end of the proxy in a quiet moment")
        wait_for_answers()

        before = system.file(TRACE_BEFORE).read_bytes()
        assert MEBIBYTE / 2 < len(before) < MEBIBYTE
        assert before.count(b"(line:669) find proxy.example from hostmap") >= QUERIES_FOR_HALF_A_MEBIBYTE
        assert before.count(b"the request domain is 9.9.9.9.in-addr.arpa, id:") == 1
        assert before.endswith(b"(line:685) no more DNS methods, send no such name response\n")
        said = journal(system, f"--unit={WATCH}")
        assert said.count("The trace has reached half of its size: process ") == 1


def test_small_trace_goes_on_in_its_file_after_a_restart(system):
    system.file(TRACE_BEFORE).unlink(missing_ok=True)
    starts = system.file(TRACE).read_text().count("bind 127.0.0.1:53 success")
    system.run("systemctl", "restart", PROXY)
    wait_for_answers()

    wait_until(lambda: system.file(TRACE).read_text().count("bind 127.0.0.1:53 success") == starts + 1, "its start")
    assert not system.file(TRACE_BEFORE).exists()


def test_trace_is_turned_off_by_one_line(system):
    with setting(system, "StandardOutput=null"):
        size = system.file(TRACE).stat().st_size
        ask_mapped_name(times=10)

        assert system.file(TRACE).stat().st_size == size
        assert "1 server, 1 host map entry: 1 warning\n" in said_at_last_start(system)
