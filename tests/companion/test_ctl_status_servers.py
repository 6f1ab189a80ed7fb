"""`status` on the servers, on what hangs, and on what the host's resolver files say."""

import contextlib
import json
import os
import re

import pytest
from harness.namespace import replace_file
from harness.proxy import write_configuration

import ctl
from stand_in_process import StandIn
from test_ctl_check_places import service_user
from test_ctl_status import resolver_file, resolver_file_shown, rows, status  # noqa: F401  (fixtures)

# The proxy and its servers have a second to answer.
pytestmark = pytest.mark.in_its_time

HOST_MAP = b"a.lan:10.0.0.1\n"
OFF_LINE = "off line: there is no way to any server, and queries to them are dropped"


@contextlib.contextmanager
def answering(*addresses):
    with contextlib.ExitStack() as stack:
        for address in addresses:
            stack.enter_context(ctl.answering(address, lambda datagram: [ctl.empty_response(datagram)]))
        yield


@contextlib.contextmanager
def silent(*addresses):
    with contextlib.ExitStack() as stack:
        for address in addresses:
            stack.enter_context(ctl.answering(address, lambda datagram: []))
        yield


def test_all_servers_answer():
    with answering("127.0.0.2", "127.0.0.3"), ctl.serving(dns=b"127.0.0.2\n127.0.0.3\n"):
        text, code = status()
    assert rows(text)["servers"] == "127.0.0.2 answers in N ms; 127.0.0.3 answers in N ms"
    assert code == 0


def test_server_that_is_silent_counts_in_the_exit_status():
    with answering("127.0.0.2"), silent("127.0.0.3"), ctl.serving(dns=b"127.0.0.2\n127.0.0.3\n"):
        text, code = status()
    assert rows(text)["servers"] == "127.0.0.2 answers in N ms; 127.0.0.3 is silent"
    assert rows(text)["probe"] == "answered in N ms"
    assert "network" not in rows(text)
    assert code == 1


def test_servers_that_are_not_to_be_asked():
    with answering("127.0.0.2"), ctl.serving(dns=b"127.0.0.2\n127.0.0.1\nx\n127.0.0.4\n"):
        text, code = status()
    assert rows(text)["servers"] == (
        "127.0.0.2 answers in N ms; 127.0.0.1 is the proxy itself; a line is no address; nobody listens at 127.0.0.4"
    )
    assert code == 1


def test_of_many_servers_those_that_do_not_answer_are_named():
    addresses = [f"127.0.1.{number}" for number in range(1, 21)]
    with answering(*addresses[:8], *addresses[10:]), ctl.serving(dns="".join(f"{a}\n" for a in addresses).encode()):
        text, code = status()
    assert rows(text)["servers"] == "18 of 20 answer; nobody listens at 127.0.1.9; nobody listens at 127.0.1.10"
    assert code == 1


def test_many_servers_that_do_not_answer():
    with ctl.serving(dns="".join(f"127.0.1.{number}\n" for number in range(1, 21)).encode()):
        text, _ = status()
    assert rows(text)["servers"] == (
        "0 of 20 answer; " + "; ".join(f"nobody listens at 127.0.1.{number}" for number in range(1, 9)) + "; and more"
    )


def test_off_line():
    with ctl.serving(dns=b"192.0.2.1\n192.0.2.2\n", hostmap=HOST_MAP):
        text, code = status()
    assert rows(text)["servers"] == (
        "192.0.2.1 can't be asked (Network is unreachable); 192.0.2.2 can't be asked (Network is unreachable)"
    )
    assert rows(text)["network"] == OFF_LINE
    assert code == 1


def test_a_server_on_this_host_is_reached_off_line():
    with answering("127.0.0.2"), ctl.serving(dns=b"127.0.0.2\n192.0.2.2\n", hostmap=HOST_MAP):
        assert "network" not in rows(status()[0])


def test_proxy_that_does_not_answer_though_both_workers_live(open_folder):
    write_configuration(dns=None, hostmap=HOST_MAP)
    with contextlib.closing(StandIn(open_folder)) as stand_in:
        stand_in.does("bind", "add", "add")
        text, code = status()
    assert rows(text)["workers"] == "both alive"
    assert rows(text)["probe"] == "no answer within 1000 ms"
    assert rows(text)["remedy"] == (
        "restart the proxy: both workers live and nothing is answered, "
        "so every number of a query waits for a silent server"
    )
    assert code == 1


@pytest.mark.parametrize(
    ("content", "words"),
    [
        ("nameserver 2001:db8::1\nnameserver fe80::1%eth0\n", "none: this host names its servers by IPv6 addresses only, and the proxy asks IPv4 ones"),
        ("nameserver 127.0.0.1\nnameserver 2001:db8::1\n", "none: this host names its servers by IPv6 addresses only, and the proxy asks IPv4 ones"),
        ("nameserver 2001:db8::1\nnameserver 192.0.2.1\n", "none"),
        ("nameserver 127.0.0.1\nnameserver ::1\n", "none"),
    ],
)  # fmt: skip
def test_no_server_and_only_ipv6_ones_known(resolver_file, content, words):  # noqa: F811
    resolver_file.write_text(content)
    with ctl.serving(hostmap=HOST_MAP):
        text, code = status()
    assert rows(text)["servers"] == words
    assert code == 0


@pytest.mark.parametrize(
    ("content", "words", "code"),
    [
        ("nameserver 127.0.0.1\noptions ndots:1 edns0\n", "sets edns0: the C library then refuses what the host map answers", 1),
        ("options use-vc\nnameserver 127.0.0.1\n", "sets use-vc: applications ask over TCP, which the proxy does not take", 1),
        ("options edns0\nnameserver 192.0.2.1\n", "sets edns0: the C library then refuses what the host map answers", 0),
        ("nameserver 127.0.0.1\n# options edns0\noptions trust-ad\n", None, 0),
    ],
)  # fmt: skip
def test_options_of_the_resolver_file(resolver_file, content, words, code):  # noqa: F811
    resolver_file.write_text(content)
    with ctl.serving(hostmap=HOST_MAP):
        text, status_code = status()
    assert rows(text).get("options") == (words and f"/etc/resolv.conf {words}")
    assert status_code == code


@contextlib.contextmanager
def resolved_asks(tmp_path, address):
    """A systemd-resolved whose own servers are these, as far as its file tells."""
    (tmp_path / "systemd" / "resolve").mkdir(parents=True)
    (tmp_path / "systemd" / "resolve" / "resolv.conf").write_text(f"nameserver {address}\n")
    with replace_file("/run", tmp_path):
        yield


def test_resolved_that_asks_the_proxy_which_asks_it(tmp_path, resolver_file):  # noqa: F811
    resolver_file.write_text("nameserver 127.0.0.53\n")
    with resolved_asks(tmp_path, "127.0.0.1"), answering("127.0.0.53"), ctl.serving(dns=b"127.0.0.53\n"):
        text, code = status()
    assert rows(text)["resolver"] == "/etc/resolv.conf points at systemd-resolved, which asks the proxy"
    assert rows(text)["circle"] == (
        "server 127.0.0.53 is systemd-resolved, which asks the proxy: queries circle for ever"
    )
    assert code == 1


def test_resolved_that_asks_somebody_else(tmp_path, resolver_file):  # noqa: F811
    resolver_file.write_text("nameserver 127.0.0.53\n")
    with resolved_asks(tmp_path, "192.0.2.1"), answering("127.0.0.53"), ctl.serving(dns=b"127.0.0.53\n"):
        text, code = status()
    assert rows(text)["resolver"] == "/etc/resolv.conf points at 127.0.0.53, not at the proxy"
    assert "circle" not in rows(text)
    assert code == 0


def test_file_that_the_services_user_may_not_read(tmp_path):
    with ctl.serving(hostmap=HOST_MAP) as proxy:
        write_configuration(dns=None, hostmap=HOST_MAP)
        path = "/var/log/Varnok/hostmap"
        with service_user(tmp_path):
            assert "files" not in rows(status()[0])
            with open(path, "rb") as file:
                os.fchmod(file.fileno(), 0o600)
            text, _ = status()
            write_configuration(dns=None, hostmap=None)
        assert proxy.process.poll() is None
    assert rows(text)["files"] == f"_dns_proxy_mac, the user of the service, may not read {path}"
    assert rows(text)["check"] == "1 error, 1 warning, see dns_proxy_ctl check"


def test_json_holds_the_same_rows():
    with answering("127.0.0.2"), silent("127.0.0.3"), ctl.serving(dns=b"127.0.0.2\n127.0.0.3\n", hostmap=HOST_MAP):
        text, _ = status()
        result = ctl.run("status", "--json")
    report = json.loads(result.stdout)
    assert [row["subject"] for row in report["rows"]] == list(rows(text))
    words = {row["subject"]: re.sub(r"\d+\.\d\d ms", "N ms", row["words"]) for row in report["rows"]}
    assert words["servers"] == "127.0.0.2 answers in N ms; 127.0.0.3 is silent"
    assert [row["subject"] for row in report["rows"] if not row["well"]] == ["servers"]
    assert report["well"] is False
    assert result.returncode == 1
