"""Names at the edges of the decoder, as the trace, the host map and the servers get to see them."""

import pytest

import lines
from harness import Application, Proxy, Upstream, from_hex, query

HEADER = "12 34 01 00 00 01 00 00 00 00 00 00"
TYPE_A = "00 01 00 01"


def label(length, byte="78"):
    """One label of `length` equal bytes, its length byte first, as hex text."""
    return f"{length:02X} " + f"{byte} " * length


def expect_forwarded(datagram, name, diagnostics=()):
    """The datagram is accepted under `name` and forwarded as it is, but for its id."""
    with Proxy(dns=b"127.0.0.2\n") as proxy, Upstream("127.0.0.2") as server, Application() as app:
        proxy.expect_started()
        app.send(datagram)
        taken_on = lines.intake(len(datagram), name, 0)
        proxy.expect_trace(taken_on[:3] + list(diagnostics) + taken_on[3:] + lines.forwarded(0, 0, 1))
        assert server.receive() == b"\0\0" + datagram[2:]


@pytest.mark.parametrize("length", [1, 63, 64, 100, 127])
def test_label_of_up_to_127_bytes_is_taken(length):
    expect_forwarded(from_hex(f"{HEADER} {label(length)} 01 61 00 {TYPE_A}"), "x" * length + ".a")


def test_name_may_fill_its_1024_bytes():
    """Fifteen labels of 63 and one of 64: the last one ends where the buffer does, its dot finds no place."""
    name = label(63) * 15 + label(64, "79")
    text = ("x" * 63 + ".") * 15 + "y" * 64
    assert len(text) == 1024
    expect_forwarded(
        from_hex(f"{HEADER} {name} 00 {TYPE_A}"),
        text,
        ["func: ExtractDomain(line:504)ExtractDomain: buffer overflow when add suffix dot, chunk_len: 64"],
    )


def test_name_of_1023_bytes_ends_on_the_last_dot_that_has_a_place():
    name = label(63) * 15 + label(63, "79")
    expect_forwarded(from_hex(f"{HEADER} {name} 00 {TYPE_A}"), ("x" * 63 + ".") * 15 + "y" * 63)


def test_label_that_does_not_fit_any_more_is_left_out():
    name = label(63) * 15 + label(65, "79")
    expect_forwarded(
        from_hex(f"{HEADER} {name} 00 {TYPE_A}"),
        ".".join(["x" * 63] * 15),
        ["func: ExtractDomain(line:488)ExtractDomain: buffer overflow when parsing qname, chunk_len: 65"],
    )


def test_labels_behind_a_full_name_are_left_out():
    """The dot of the sixteenth label takes the last place; a seventeenth label of one byte has none."""
    name = label(63) * 16 + label(1)
    expect_forwarded(
        from_hex(f"{HEADER} {name} 00 {TYPE_A}"),
        ".".join(["x" * 63] * 16),
        ["func: ExtractDomain(line:488)ExtractDomain: buffer overflow when parsing qname, chunk_len: 1"],
    )


def test_name_that_fills_its_buffer_is_found_in_the_host_map():
    """Such a name's type is read from its last label's first two bytes: 00 1C would be an IPv6 question."""
    text = ("x" * 63 + ".") * 15 + "y" * 64
    datagram = from_hex(f"{HEADER} {label(63) * 15} {label(64, '79')} 00 00 1C 00 01")
    with Proxy(hostmap=f"{text}:10.1.2.3\n".encode()) as proxy, Application() as app:
        proxy.expect_started()
        app.send(datagram)
        taken_on = lines.intake(len(datagram), text, 0)
        proxy.expect_trace(
            taken_on[:3]
            + ["func: ExtractDomain(line:504)ExtractDomain: buffer overflow when add suffix dot, chunk_len: 64"]
            + taken_on[3:]
            + lines.host_map_hit(0, 1, text, "10.1.2.3")
        )
        answer = app.receive()
    assert answer[:12] == from_hex("12 34 81 00 00 01 00 01 00 00 00 00")
    assert answer[-16:] == from_hex("C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03")


def test_compression_pointer_cuts_the_name():
    expect_forwarded(
        from_hex(f"{HEADER} 01 61 02 62 63 C0 0C {TYPE_A}"),
        "a.bc",
        ["func: ExtractDomain(line:482)ExtractDomain invalid value:-64"],
    )


def test_type_behind_a_compression_pointer_is_read_from_its_second_byte():
    """C0 00 1C: the bytes 00 1C, the pointer's second and the next, are the type of an IPv6 question."""
    with Proxy(hostmap=b"a:10.1.2.3\n") as proxy, Application() as app:
        proxy.expect_started()
        app.send(from_hex(f"{HEADER} 01 61 C0 00 1C 00 01"))
        proxy.expect_trace(
            [
                "func: thread_query(line:282) ****QureyThread***: received dns request",
                "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 19 data from 127.0.0.1",
                "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :1",
                "func: ExtractDomain(line:482)ExtractDomain invalid value:-64",
                "func: RecvAndProcessPacketsFromLocalApps(line:432) received dns request............a",
                "func: RecvAndProcessPacketsFromLocalApps(line:464)FromAPP: the request domain is a, id:0",
            ]
            + lines.host_map_hit(0, 1, "a", "10.1.2.3")
        )
        assert app.receive() == from_hex(
            "12 34 81 00 00 01 00 02 00 00 00 00 01 61 C0 00 1C 00 01 C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03"
        )


def test_label_that_runs_past_the_datagram_goes_on_with_zero_bytes():
    expect_forwarded(from_hex(f"{HEADER} 05 61 62"), "ab")


def test_length_byte_at_the_very_end_has_a_label_of_zero_bytes():
    expect_forwarded(from_hex(f"{HEADER} 01 61 05"), "a.")


def test_name_without_its_closing_zero_is_taken():
    expect_forwarded(from_hex(f"{HEADER} 01 61 01 62"), "a.b")


def test_a_longer_earlier_datagram_leaves_nothing_behind():
    """The label that runs past its datagram does not continue in the datagram received before."""
    with Proxy(dns=b"127.0.0.2\n") as proxy, Application() as app:
        proxy.expect_started()
        app.send(query(0x1234, "longer.than.the.next.example"))
        proxy.expect_trace(lines.intake(46, "longer.than.the.next.example", 0) + lines.forwarded(0, 0, 1))
        app.send(from_hex(f"{HEADER} 09 61 62"))
        proxy.expect_trace(lines.intake(15, "ab", 1) + lines.forwarded(1, 0, 1))


def test_name_ends_at_a_zero_byte_inside_a_label():
    with Proxy(hostmap=b"a:10.1.2.3\n") as proxy, Application() as app:
        proxy.expect_started()
        app.send(from_hex(f"{HEADER} 03 61 00 62 03 63 6F 6D 00 {TYPE_A}"))
        proxy.expect_trace(lines.intake(25, "a", 0) + lines.host_map_hit(0, 1, "a", "10.1.2.3"))


def test_dots_inside_a_label_look_like_dots_between_labels():
    with Proxy(hostmap=b"a.bc:10.1.2.3\n") as proxy, Application() as app:
        proxy.expect_started()
        app.send(from_hex(f"{HEADER} 04 61 2E 62 63 00 {TYPE_A}"))
        proxy.expect_trace(lines.intake(22, "a.bc", 0) + lines.host_map_hit(0, 1, "a.bc", "10.1.2.3"))


@pytest.mark.parametrize(
    "wire, text",
    [
        ("06 25 73 25 6E 25 64", "%s%n%d"),
        ("03 61 0A 62", "a\nb"),
        ("03 1B 5B 6D", "\x1b[m"),
        ("02 FF 80", "\xff\x80"),
        ("01 20", " "),
        ("01 2E", "."),
    ],
)
def test_bytes_of_a_name_are_printed_as_they_are(wire, text):
    expect_forwarded(from_hex(f"{HEADER} {wire} 00 {TYPE_A}"), text)


@pytest.mark.parametrize(
    "name",
    ["4.3.2.1.in-addr.arpa", "x.in-addr.arpa.example", "a.in-addr.arpaz", "1.in-addr.arpa.2.in-addr.arpa"],
)
def test_reverse_name_is_refused_at_once(name):
    asked = query(0x1234, name)
    files = {"dns": b"127.0.0.2\n127.0.0.3\n", "hostmap": f"{name}:10.1.2.3\n".encode()}
    with Proxy(**files) as proxy, Upstream("127.0.0.2") as server, Application() as app:
        proxy.expect_started()
        app.send(asked)
        proxy.expect_trace(lines.intake(len(asked), name, 0))
        proxy.expect_trace(
            [
                "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: 0, bReasonIsTimeout:0",
                "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 159, DnsListSize:3",
                "func: TryNextDNSQueryMethod(line:685) no more DNS methods, send no such name response",
            ]
        )
        assert app.receive() == from_hex("12 34 80 03 00 01 00 00 00 00 00 00") + asked[12:]
        server.assert_nothing_received()


@pytest.mark.parametrize(
    "name", ["4.3.2.1.IN-ADDR.ARPA", "in-addr.arpa", "xin-addr.arpa", "1.ip6.arpa", "1.in-addr.arp", "a\0.in-addr.arpa"]
)
def test_name_without_the_reverse_marker_in_lower_case_is_asked_of_the_server(name):
    expect_forwarded(query(0x1234, name), name.split("\0")[0])


def servers(count):
    """So many servers' addresses, 127.1.x.y."""
    return [f"127.1.{number // 250}.{number % 250 + 1}" for number in range(count)]


def as_file(addresses):
    return "".join(f"{address}\n" for address in addresses).encode()


def test_reverse_name_is_refused_with_159_methods():
    with Proxy(dns=as_file(servers(159))) as proxy, Application() as app:
        proxy.expect_started()
        app.send(query(0x1234, "1.in-addr.arpa"))
        proxy.expect_trace(lines.intake(32, "1.in-addr.arpa", 0) + lines.exhausted(0, 159, 159))
        assert app.receive()[:4] == from_hex("12 34 80 03")


def test_reverse_name_goes_to_method_159_where_there_is_one():
    addresses = servers(160)
    with Proxy(dns=as_file(addresses)) as proxy, Upstream(addresses[159]) as server, Application() as app:
        proxy.expect_started()
        app.send(query(0x1234, "1.in-addr.arpa"))
        proxy.expect_trace(lines.intake(32, "1.in-addr.arpa", 0) + lines.forwarded(0, 159, 160))
        assert server.receive() == query(0, "1.in-addr.arpa")
        server.send(from_hex("00 00 81 83 00 01 00 00 00 00 00 00"))
        proxy.expect_trace(lines.without_answer(12, addresses[159], 0, "1.in-addr.arpa"))
        proxy.expect_trace(lines.exhausted(0, 160, 160))
        assert app.receive()[:4] == from_hex("12 34 80 03")


def test_host_map_counts_as_a_method_before_the_servers():
    addresses = servers(159)
    files = {"dns": as_file(addresses), "hostmap": b"1.in-addr.arpa:10.1.2.3\n"}
    with Proxy(**files) as proxy, Upstream(addresses[158]) as server, Application() as app:
        proxy.expect_started()
        app.send(query(0x1234, "1.in-addr.arpa"))
        proxy.expect_trace(lines.intake(32, "1.in-addr.arpa", 0) + lines.forwarded(0, 159, 160))
        assert server.receive() == query(0, "1.in-addr.arpa")


def test_method_index_of_eight_bits_starts_over_behind_255():
    """With 257 servers a reverse name starts at the 160th; behind the 256th comes the first, not the last."""
    addresses = servers(257)
    with Proxy(dns=as_file(addresses)) as proxy, Application() as app:
        proxy.expect_started()
        app.send(query(0x1234, "1.in-addr.arpa"))
        proxy.expect_trace(lines.intake(32, "1.in-addr.arpa", 0) + lines.forwarded(0, 159, 257))
        for index in range(159, 256):
            proxy.send_upstream(from_hex("00 00 81 83 00 01 00 00 00 00 00 00"), address=addresses[index])
            proxy.expect_trace(lines.without_answer(12, addresses[index], 0, "1.in-addr.arpa"))
            proxy.expect_trace(lines.forwarded(0, (index + 1) % 256, 257))
