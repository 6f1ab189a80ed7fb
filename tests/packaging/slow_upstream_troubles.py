"""What becomes of applications when servers do, with both packages as installed in a booted copy. By hand.

It prints its figures with -s and takes a minute; DNS_PROXY_SILENT_QUERIES=1000000 asks so many at a silent
server, which takes some more.
"""

import os
import pathlib
import re
import select
import subprocess
import sys
import time

import pytest

from harness import Application, query, wait_until

from asking import wait_for_answers
from system_copy import SystemCopy

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "upstream"))

from dns_bytes import announced_size, answer, code, empty_answer  # noqa: E402  (found through the line above)
from fake_server import FakeServer  # noqa: E402

PROXY, UPSTREAM = "dns_proxy_mac.service", "dns_proxy_upstream.service"
SERVERS = "/var/log/Varnok/servers"
# Of the network that the host is on, and of the one where it goes to.
AT_HOME, ELSEWHERE = ("10.77.0.1", "10.77.0.2"), ("10.78.0.1", "10.78.0.2")
SILENT_QUERIES = int(os.environ.get("DNS_PROXY_SILENT_QUERIES", "100000"))
MOST_IN_FLIGHT = 100
LONGEST_WAIT = 30
NO_SUCH_NAME = 3
LOOK_UP = "import socket, sys; print(*sorted({row[4][0] for row in socket.getaddrinfo(sys.argv[1], 80)}))"
ADDRESSES = [f"10.1.0.{number}" for number in range(1, 21)]


def resolver_file(system, servers):
    system.put("/etc/resolv.conf", "".join(f"nameserver {server}\n" for server in servers))


@pytest.fixture(scope="module")
def network():
    for address in AT_HOME + ELSEWHERE:
        subprocess.run(["ip", "address", "add", f"{address}/32", "dev", "lo"], check=True)
    servers = [FakeServer(address) for address in AT_HOME + ELSEWHERE]
    for server in servers:
        server.__enter__()
    yield servers
    for server in servers:
        server.__exit__()


@pytest.fixture(scope="module")
def booted_pair(network, system_copies, package, upstream_package):
    with SystemCopy() as system:
        resolver_file(system, AT_HOME)
        for number, file in enumerate((package, upstream_package)):
            system.file(f"/package{number}.deb").write_bytes(file.read_bytes())
        system.run("dpkg", "--install", "/package0.deb", "/package1.deb")
        assert system.file(SERVERS).read_text() == "network\n"
        system.boot()
        wait_for_answers()
        yield system


@pytest.fixture(autouse=True)
def no_restart(booted_pair, network):
    """Each trouble begins with everybody well, and neither program may be started again in it."""
    for server in network:
        server.be_well()
    resolver_file(booted_pair, AT_HOME)
    wait_until(lambda: ask().response[-4:] == bytes([10, 0, 0, 1]), "the first server's answer")
    before = [booted_pair.value(unit, "MainPID") for unit in (PROXY, UPSTREAM)]
    yield
    assert [booted_pair.value(unit, "MainPID") for unit in (PROXY, UPSTREAM)] == before


class ask:
    """One query through the proxy: the response, and the seconds until it came."""

    def __init__(self, name="www.example"):
        with Application() as application:
            begin = time.monotonic()
            application.send(query(0x1234, name))
            assert select.select([application.socket], [], [], LONGEST_WAIT)[0], "silence"
            self.response = application.socket.recv(65535)
            self.seconds = time.monotonic() - begin


def told(what, *seconds):
    print(f"\n{what}: " + ", ".join(f"{one:.4f} s" for one in seconds), flush=True)


def seconds_until(holds):
    begin = time.monotonic()
    wait_until(holds, "the change")
    return time.monotonic() - begin


def health(system, address):
    rows = system.run("cat", "/run/dns_proxy_upstream/state").splitlines()
    return next(row.split()[3] for row in rows if row.startswith("server ") and row.split()[2] == address)


def test_when_the_first_server_falls_silent_the_second_answers_in_time_then_at_once(booted_pair, network):
    network[0].be_silent()
    first = ask()
    wait_until(lambda: health(booted_pair, AT_HOME[0]) == "silent", "the finding")
    then = sorted(ask().seconds for _ in range(100))
    assert first.response[-4:] == bytes([10, 0, 0, 2])
    assert first.seconds <= 1.6
    network[0].be_well()
    back = seconds_until(lambda: ask().response[-4:] == bytes([10, 0, 0, 1]))
    assert back <= 10
    told("first server silent: next answer, then in the median, first server again", first.seconds, then[50], back)


def test_when_the_host_comes_to_another_network_its_servers_answer(booted_pair, network):
    for server in network[:2]:
        server.be_silent()
    resolver_file(booted_pair, ELSEWHERE)
    network[2].respond = lambda received, _: [answer(received, ["10.0.0.3"])]
    begin = time.monotonic()
    wait_until(lambda: ask().response[-4:] == bytes([10, 0, 0, 3]), "the other network's answer")
    taken = time.monotonic() - begin
    assert taken <= 2
    told("another network: until its server answers", taken)


def test_when_all_servers_are_gone_each_query_is_answered_in_time(booted_pair, network):
    for server in network:
        server.be_silent()
    first = ask()
    for address in AT_HOME:
        wait_until(lambda address=address: health(booted_pair, address) == "silent", "the finding")
    then = sorted(ask().seconds for _ in range(100))
    assert code(first.response) == NO_SUCH_NAME and first.seconds < 5
    told("all servers gone: no such name, then in the median", first.seconds, then[50])


def ask_many(count, check):
    """Asks for n0.example and so on, some in flight at a time; `check` gets each number and response."""
    waiting, asked = {}, 0
    with Application() as application:
        while asked < count or waiting:
            while asked < count and len(waiting) < MOST_IN_FLIGHT:
                waiting[asked & 0xFFFF] = asked
                application.send(query(asked & 0xFFFF, f"n{asked}.example"))
                asked += 1
            assert select.select([application.socket], [], [], LONGEST_WAIT)[0], f"{len(waiting)} never answered"
            response = application.socket.recv(65535)
            check(waiting.pop(response[0] << 8 | response[1]), response)


def address_of(number):
    return f"10.{number >> 16 & 255}.{number >> 8 & 255}.{number & 255}"


def by_name(received, _transport="udp"):
    number = int(received[14 : 13 + received[12]]) if received[12] else 1
    return [answer(received, [address_of(number)])]


def test_with_every_third_packet_lost_both_ways_all_queries_are_answered(network):
    packets, wrong = [0], []

    def survives():
        packets[0] += 1
        return packets[0] % 3 != 0

    def check(number, response):
        if response[-4:] != bytes(map(int, address_of(number).split("."))):
            wrong.append(number)

    for server in network[:2]:
        server.respond = lambda received, _: by_name(received) if survives() and survives() else []
    begin = time.monotonic()
    ask_many(1000, check)
    assert wrong == []
    told("every third packet lost: 1,000 of 1,000 answered in", time.monotonic() - begin)


def answer_of(size):
    def respond(received, transport):
        if transport == "udp" and size > announced_size(received):
            return [empty_answer(received, 0, truncated=True)]
        return [answer(received, ADDRESSES, filler=size)]

    return respond


@pytest.fixture
def host_asks_the_proxy(booted_pair):
    """The servers are told by the file then."""
    booted_pair.put(SERVERS, "".join(f"{address}\n" for address in AT_HOME))
    booted_pair.put("/etc/resolv.conf", "nameserver 127.0.0.1\n")
    yield
    resolver_file(booted_pair, AT_HOME)
    booted_pair.put(SERVERS, "network\n")


@pytest.mark.parametrize("size", [600, 1300, 4000, 8000])
def test_long_answers_reach_getaddrinfo_and_dig_whole(booted_pair, network, host_asks_the_proxy, size):
    network[0].respond = answer_of(size)
    wait_until(lambda: len(ask().response) == size, "the long answer")
    found = booted_pair.run("/usr/bin/python3", "-c", LOOK_UP, "large.example").split()
    assert found == sorted(ADDRESSES)
    shown = booted_pair.run("dig", "-r", "+tries=1", "+time=20", "+noedns", "+ignore", "large.example")
    assert f"MSG SIZE  rcvd: {size}" in shown and len(re.findall(r"\sA\s10\.1\.0\.", shown)) == len(ADDRESSES)


def test_after_a_pause_of_the_process_as_of_a_sleeping_machine_nothing_counts_as_silent(booted_pair):
    booted_pair.run("systemctl", "freeze", UPSTREAM)
    try:
        with Application() as application:
            application.send(query(0x4321, "asleep.example"))
            assert not select.select([application.socket], [], [], 3)[0]
            booted_pair.run("systemctl", "thaw", UPSTREAM)
            assert application.receive()[-4:] == bytes([10, 0, 0, 1])
    finally:
        booted_pair.run("systemctl", "thaw", UPSTREAM)
    assert health(booted_pair, AT_HOME[0]) == "alive"


def memory(system, unit):
    """Resident kilobytes of the process."""
    status = system.run("cat", f"/proc/{system.value(unit, 'MainPID')}/status")
    return int(re.search(r"VmRSS:\s+(\d+)", status).group(1))


@pytest.fixture(scope="module")
def no_trace(booted_pair):
    """A trace that gets full would have the proxy started again."""
    booted_pair.put("/etc/systemd/system/dns_proxy_mac.service.d/trace.conf", "[Service]\nStandardOutput=null\n")
    booted_pair.run("systemctl", "daemon-reload")
    booted_pair.run("systemctl", "restart", PROXY)


def test_after_many_queries_at_silent_servers_memory_and_ids_are_as_before(no_trace, booted_pair, network):
    for server in network:
        server.be_silent()
    codes = set()
    ask_many(5000, lambda number, response: codes.add(code(response)))
    before = [memory(booted_pair, unit) for unit in (PROXY, UPSTREAM)]
    begin = time.monotonic()
    ask_many(SILENT_QUERIES, lambda number, response: codes.add(code(response)))
    taken = time.monotonic() - begin
    after = [memory(booted_pair, unit) for unit in (PROXY, UPSTREAM)]
    assert codes == {NO_SUCH_NAME}
    for then, now in zip(before, after):
        assert now <= then + 512
    network[0].be_well()
    wait_until(lambda: ask().response[-4:] == bytes([10, 0, 0, 1]), "the server's return")
    print(f"\n{SILENT_QUERIES} queries at silent servers: {taken:.1f} s; KB of proxy and upstream {before}, then {after}")
