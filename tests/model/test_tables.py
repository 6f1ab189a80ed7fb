"""The model's addresses, host map, methods and request table."""

import pytest

from model.configuration import Configuration
from model.network import LoopbackOnly, address_of
from model.tables import HOST_MAP, SERVER, HostTable, Method, Request, RequestTable, methods_of

RECORD = bytes.fromhex("c00c 0001 0001 00015180 0004 0a010203")
NOBODY = bytes.fromhex("c00c 0001 0001 00015180 0004 ffffffff")


@pytest.mark.parametrize(
    "text, address",
    [
        (b"192.0.2.1", "192.0.2.1"),
        (b"", "255.255.255.255"),
        (b"localhost", "255.255.255.255"),
        (b"1.2.3.4:53", "255.255.255.255"),
        (b"127.0.0.2\r", "127.0.0.2"),
        (b"127.0.0.2 rest", "127.0.0.2"),
        (b"0x7f.1", "127.0.0.1"),
        (b"127.0.0.010", "127.0.0.8"),
        (b"256.1.1.1", "255.255.255.255"),
        (b"\xe4", "255.255.255.255"),
    ],
)
def test_an_address_text_is_read_as_the_c_library_reads_it(text, address):
    assert address_of(text) == address


def host_table(*pairs):
    table = HostTable()
    for domain, address in pairs:
        table.add(domain, address)
    return table


def test_a_lower_case_domain_is_found_in_any_case():
    table = host_table((b"intra.lan", b"10.1.2.3"))
    assert [table.find(name) for name in (b"intra.lan", b"INTRA.lan", b"iNtra.Lan")] == [RECORD] * 3


def test_a_domain_with_a_capital_is_never_found():
    table = host_table((b"Intra.LAN", b"10.1.2.3"))
    assert table.find(b"intra.lan") is None
    assert table.find(b"Intra.LAN") is None


def test_only_whole_domains_match():
    table = host_table((b"intra.lan", b"10.1.2.3"), (b"*.wild.lan", b"10.1.2.3"), (b"dot.lan.", b"10.1.2.3"))
    assert table.find(b"host.intra.lan") is None
    assert table.find(b"x.wild.lan") is None
    assert table.find(b"*.wild.lan") == RECORD
    assert table.find(b"dot.lan") is None


def test_the_first_of_two_equal_domains_stays():
    assert host_table((b"a", b"10.1.2.3"), (b"a", b"10.9.9.9")).find(b"a") == RECORD


def test_an_address_that_is_none_answers_all_ones():
    assert host_table((b"a", b"a")).find(b"a") == NOBODY


def test_texts_end_at_their_first_nul():
    assert host_table((b"a\0b", b"10.1.2.3\0x")).find(b"a") == RECORD


def test_the_host_map_comes_before_the_servers():
    assert methods_of(Configuration([b"127.0.0.2", b""], [(b"a", b"b"), (b"c", b"d")])) == [
        Method(HOST_MAP),
        Method(SERVER, "127.0.0.2"),
        Method(SERVER, "255.255.255.255"),
    ]
    assert methods_of(Configuration([b"127.0.0.2"], [])) == [Method(SERVER, "127.0.0.2")]
    assert methods_of(Configuration([], [(b"a", b"b")])) == [Method(HOST_MAP)]


def request(number, name):
    return Request(number, b"\0\0", ("127.0.0.1", 1), b"", name, 1, 0, ())


def test_a_request_in_flight_is_not_replaced():
    table = RequestTable()
    table.add(request(7, b"first"))
    table.add(request(7, b"second"))
    assert table.find(7).name == b"first"
    table.delete(7)
    table.delete(7)
    assert table.find(7) is None


def test_sends_that_the_test_network_refuses():
    network = LoopbackOnly()
    assert network.send_to_server("127.0.0.2") == 0
    assert network.send_to_server("10.0.0.1") == 101
    assert network.send_to_server("255.255.255.255") == 101
    assert network.send_to_server("127.255.255.255") == 13
    assert network.send_to_application("127.0.0.1", 20001) == 0
    assert network.send_to_application("127.0.0.1", 0) == 22
    assert network.send_to_application("10.0.0.9", 1234) == 101
