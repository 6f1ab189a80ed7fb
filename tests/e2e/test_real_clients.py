"""Programs that people use, asking the proxy: dig, the C library's resolver and dnspython's."""

import contextlib
import json
import re
import subprocess
import sys

import dns.resolver
import pytest

from harness import Proxy, deadline_seconds
from harness.namespace import replace_file
from zone_server import ZoneServer

FILES = {"dns": b"127.0.0.2\n127.0.0.3\n", "hostmap": b"intra.home:10.1.2.3\n"}
FIRST_SERVER = {
    ("www.example", "A"): ["192.0.2.10", "192.0.2.11"],
    ("www.example", "AAAA"): ["2001:db8::10"],
    ("example", "MX"): ["10 mail.example.", "20 backup.example."],
}
SECOND_SERVER = {("late.example", "A"): ["192.0.2.99"]}


@pytest.fixture(autouse=True)
def service():
    """The proxy with two servers that know a few names; its trace is read along, as a person would."""
    with ZoneServer("127.0.0.2", FIRST_SERVER) as first, ZoneServer("127.0.0.3", SECOND_SERVER) as second:
        with Proxy(**FILES) as proxy:
            proxy.expect_started()
            yield first, second
            proxy.trace.take_available()
            proxy.kill()
            proxy.trace.rest_until_end()
            assert proxy.errors() == ""


def dig(*arguments):
    """The whole output of dig, which asks once."""
    command = ["dig", "-r", "@127.0.0.1", "+tries=1", f"+time={int(deadline_seconds())}", *arguments]
    ended = subprocess.run(command, capture_output=True, text=True, timeout=4 * deadline_seconds(), check=True)
    return ended.stdout


def status(output):
    return re.search(r"status: (\w+)", output).group(1)


def records(output, section):
    """The lines of one section of dig's output, blanks made single, sorted: servers shuffle them."""
    found = re.search(rf";; {section} SECTION:\n(.*?)\n\n", output, re.DOTALL)
    return sorted(" ".join(line.split()) for line in found.group(1).splitlines()) if found else []


def test_dig_gets_a_host_map_address():
    output = dig("+noedns", "intra.home", "A")
    assert status(output) == "NOERROR"
    assert records(output, "ANSWER") == ["intra.home. 86400 IN A 10.1.2.3"]


def test_dig_gets_addresses_from_a_server(service):
    output = dig("www.example", "A")
    assert status(output) == "NOERROR"
    assert records(output, "ANSWER") == ["www.example. 60 IN A 192.0.2.10", "www.example. 60 IN A 192.0.2.11"]
    assert service[0].asked == [("www.example", "A")]


def test_dig_gets_an_ipv6_address_from_a_server():
    output = dig("www.example", "AAAA")
    assert records(output, "ANSWER") == ["www.example. 60 IN AAAA 2001:db8::10"]


def test_dig_gets_mail_servers():
    output = dig("example", "MX")
    assert records(output, "ANSWER") == ["example. 60 IN MX 10 mail.example.", "example. 60 IN MX 20 backup.example."]


def test_dig_gets_the_servers_edns_record():
    output = dig("+bufsize=1400", "www.example", "A")
    assert "; EDNS: version: 0, flags:; udp: 8192" in output
    assert records(output, "ANSWER")[0] == "www.example. 60 IN A 192.0.2.10"


def test_dig_shows_the_option_record_before_the_host_map_address():
    """The record stands behind the query's own option record, which thereby comes to count as the answer."""
    output = dig("+bufsize=1232", "+nocookie", "intra.home", "A")
    assert status(output) == "NOERROR"
    assert records(output, "ANSWER") == [". 0 CLASS1232 OPT"]
    assert records(output, "ADDITIONAL") == ["intra.home. 86400 IN A 10.1.2.3"]


def test_dig_gets_the_ipv4_record_for_an_ipv6_question_on_the_host_map():
    output = dig("+noedns", "intra.home", "AAAA")
    assert "ANSWER: 2" in output
    assert records(output, "ANSWER") == ["intra.home. 86400 IN A 10.1.2.3"]


def test_dig_gets_the_second_servers_answer(service):
    output = dig("late.example", "A")
    assert records(output, "ANSWER") == ["late.example. 60 IN A 192.0.2.99"]
    assert (service[0].asked, service[1].asked) == ([("late.example", "A")], [("late.example", "A")])


def test_dig_gets_no_such_name_when_nobody_knows():
    output = dig("nowhere.example", "A")
    assert status(output) == "NXDOMAIN"
    assert records(output, "ANSWER") == []


def test_dig_gets_no_such_name_for_a_reverse_name_and_no_server_is_asked(service):
    output = dig("-x", "192.0.2.10")
    assert status(output) == "NXDOMAIN"
    assert records(output, "QUESTION") == [";10.2.0.192.in-addr.arpa. IN PTR"]
    assert (service[0].asked, service[1].asked) == ([], [])


LOOK_UP = """
import json, socket, sys
family = {"4": socket.AF_INET, "6": socket.AF_INET6, "any": socket.AF_UNSPEC}[sys.argv[2]]
try:
    found = socket.getaddrinfo(sys.argv[1], None, family, socket.SOCK_DGRAM)
    print(json.dumps(sorted(entry[4][0] for entry in found)))
except socket.gaierror as error:
    print(json.dumps(error.errno == socket.EAI_NONAME))
"""


@pytest.fixture
def system_resolver(tmp_path):
    """Looks names up as any program of this system does, the proxy being its only name server."""
    settings = tmp_path / "resolv.conf"
    settings.write_text("nameserver 127.0.0.1\noptions timeout:30 attempts:1\n")
    order = tmp_path / "nsswitch.conf"
    order.write_text("hosts: dns\n")
    with contextlib.ExitStack() as mounts:
        mounts.enter_context(replace_file("/etc/resolv.conf", settings))
        mounts.enter_context(replace_file("/etc/nsswitch.conf", order))

        def look_up(name, family):
            command = [sys.executable, "-c", LOOK_UP, name, family]
            return json.loads(subprocess.run(command, capture_output=True, check=True).stdout)

        yield look_up


def test_system_resolver_finds_a_host_map_name(system_resolver):
    assert system_resolver("intra.home", "4") == ["10.1.2.3"]


def test_system_resolver_finds_a_host_map_name_when_it_asks_for_both_families(system_resolver):
    assert system_resolver("intra.home", "any") == ["10.1.2.3"]


def test_system_resolver_finds_both_families_at_a_server(system_resolver):
    assert system_resolver("www.example", "any") == ["192.0.2.10", "192.0.2.11", "2001:db8::10"]


def test_system_resolver_finds_nothing_where_nobody_knows(system_resolver):
    assert system_resolver("nowhere.example", "4") is True


@pytest.fixture
def resolver():
    found = dns.resolver.Resolver(configure=False)
    found.nameservers = ["127.0.0.1"]
    found.lifetime = deadline_seconds()
    return found


def test_dnspython_finds_a_host_map_name_in_any_mix_of_cases(resolver):
    assert [record.address for record in resolver.resolve("INTRA.home", "A", search=False)] == ["10.1.2.3"]


def test_dnspython_finds_names_of_both_servers(resolver):
    assert [record.address for record in resolver.resolve("www.example", "AAAA")] == ["2001:db8::10"]
    assert [record.address for record in resolver.resolve("late.example", "A")] == ["192.0.2.99"]
    assert sorted(record.preference for record in resolver.resolve("example", "MX")) == [10, 20]


def test_dnspython_finds_no_such_name(resolver):
    with pytest.raises(dns.resolver.NXDOMAIN):
        resolver.resolve("nowhere.example", "A")
