"""Which servers are asked: the file for people, and the records of the host's network. Followed live."""

import os
import pathlib
import time

import pytest
from dns_bytes import code
from fake_server import FakeServer
from program import Asker, Program, write_servers

from harness import wait_until
from harness.namespace import replace_file

RESOLVED = pathlib.Path("/run/systemd/resolve/resolv.conf")
SENTENCES = {
    b"192.0.2": "/var/log/Varnok/servers: Line 1: \"192.0.2\" is neither an address nor \"network\".",
    b"\x7fELF\0\1\2": "/var/log/Varnok/servers: It holds something other than text.",
    b"": "/var/log/Varnok/servers: It names no server.",
    b"127.0.0.1\n": "/var/log/Varnok/servers: Line 1: \"127.0.0.1\" is this program or the proxy, "
    "which would ask itself.",
}


def addresses(program):
    return [server["address"] for server in program.state()]


def wait_for_addresses(program, *expected):
    begin = time.monotonic()
    wait_until(lambda: addresses(program) == list(expected), f"the servers {expected}")
    return time.monotonic() - begin


def write_network(*servers):
    """As systemd-resolved does: the whole file at once."""
    RESOLVED.parent.mkdir(parents=True, exist_ok=True)
    fresh = RESOLVED.with_suffix(".new")
    fresh.write_text("".join(f"nameserver {server}\n" for server in servers))
    fresh.rename(RESOLVED)


@pytest.fixture(autouse=True)
def no_network():
    yield
    RESOLVED.unlink(missing_ok=True)


def test_an_edit_counts_without_a_restart(servers, program, record_property):
    write_servers(["127.0.9.3", "127.0.9.1"])
    seconds = wait_for_addresses(program, "127.0.9.3", "127.0.9.1", "none")
    with Asker() as asker:
        assert asker.ask()[0][-4:] == bytes([10, 0, 0, 3])
    record_property("seconds until it was told (told once a second)", f"{seconds:.3f}")


@pytest.mark.parametrize("content", SENTENCES, ids=["half an address", "binary", "empty", "the proxy"])
def test_a_bad_file_leaves_the_last_good_state_and_gives_one_sentence(servers, program, content):
    write_servers(content)
    program.wait_until_said(SENTENCES[content] + " The servers stay as they were.")
    with Asker() as asker:
        assert asker.ask()[0][-4:] == bytes([10, 0, 0, 1])
    write_servers(["127.0.9.2"])
    wait_for_addresses(program, "127.0.9.2", "none", "none")
    assert len(program.said().splitlines()) == 3


def test_a_file_that_goes_leaves_the_last_good_state(servers, program):
    write_servers(None)
    program.wait_until_said("cannot be read: the servers that it named last are asked on.")
    assert addresses(program) == ["127.0.9.1", "127.0.9.2", "127.0.9.3"]


def test_a_server_that_stays_keeps_what_it_has_counted(servers, program):
    with Asker(1) as asker:
        asker.ask()
    program.wait_for_state(1, answered=1)
    write_servers(["127.0.9.2"])
    program.wait_for_state(0, address="127.0.9.2", answered=1)


def test_who_waits_for_a_server_that_goes_is_answered_by_the_next(servers, program):
    servers[0].be_silent()
    with Asker() as asker:
        asker.send(b"\x12\x34" + b"\1\0\0\1\0\0\0\0\0\0" + b"\1a\0\0\1\0\1")
        wait_until(lambda: servers[0].asked(), "the query at the first server")
        write_servers(["127.0.9.2"])
        # Either in time for the next server, or as a failure: never nothing.
        response = asker.receive()
        assert response[:2] == b"\x12\x34" and (response[-4:] == bytes([10, 0, 0, 2]) or code(response) == 2)


def test_the_network_s_servers_are_followed(record_property):
    """IPv4 addresses beyond loopback, as a network has them, on an interface of the tests' own."""
    os.system("ip address add 10.77.0.1/32 dev lo; ip address add 10.77.0.2/32 dev lo")
    write_network("10.77.0.1")
    with FakeServer("10.77.0.1"), FakeServer("10.77.0.2"), Program(["network"]) as program:
        with Asker() as asker:
            assert asker.ask()[0][-4:] == bytes([10, 0, 0, 1])
            begin = time.monotonic()
            write_network("10.77.0.2")
            wait_until(lambda: asker.ask()[0][-4:] == bytes([10, 0, 0, 2]), "an answer of the other server")
            record_property("seconds until the other server answers", f"{time.monotonic() - begin:.3f}")


def test_without_a_file_the_network_s_servers_are_asked():
    write_network("10.77.0.1")
    with Program(None) as program:
        wait_for_addresses(program, "10.77.0.1", "none", "none")


def test_a_network_that_names_only_this_host_takes_no_server_away(tmp_path):
    write_network("10.77.0.1")
    resolver_file = tmp_path / "resolv.conf"
    resolver_file.write_text("nameserver 127.0.0.1\n")
    with replace_file("/etc/resolv.conf", resolver_file), Program(["network"]) as program:
        wait_for_addresses(program, "10.77.0.1", "none", "none")
        write_network("127.0.0.1")
        write_servers(["network", "10.77.0.9"])
        wait_for_addresses(program, "10.77.0.1", "10.77.0.9", "none")


def test_a_record_of_unknown_form_gives_one_sentence():
    write_network("10.77.0.1")
    with Program(["network"]) as program:
        write_network("somewhere")
        program.wait_until_said(f"{RESOLVED} has an unknown form. The servers stay as they were.")
        assert addresses(program)[0] == "10.77.0.1"
