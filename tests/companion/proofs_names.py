"""For each fixture about the host map: questions, and what the proxy answers to them."""

from harness import Application, from_hex

import ctl

NO_SUCH_NAME = "no such name"
WRONG = "255.255.255.255"

# A question is a name whose dots part its labels, or a list of labels that may hold dots themselves.
QUESTIONS = {
    "good/servers_and_names": [
        ("intra.lan", "10.0.0.1"),
        ("INTRA.Lan", "10.0.0.1"),
        ("mail-1.intra.lan", "10.0.0.2"),
        ("_x._udp.intra.lan", "10.0.0.3"),
        ("blocked.example", "0.0.0.0"),
        ("all-ones.example", "255.255.255.255"),
        ("7", "10.0.0.7"),
    ],
    "good/no_line_end_at_the_end": [("intra.lan", "10.0.0.1")],
    "good/longest_names": [
        ("a" * 63 + ".lan", "10.0.0.1"),
        (".".join(["b" * 62] * 3 + ["c" * 60, "ddd"]), "10.0.0.2"),
    ],
    "warn/no_server": [("intra.lan", "10.0.0.1"), ("other.lan", NO_SUCH_NAME)],
    "warn/upper_case": [
        ("Intra.lan", NO_SUCH_NAME),
        ("intra.lan", NO_SUCH_NAME),
        ("INTRA.LAN", NO_SUCH_NAME),
        ("printer.LAN", NO_SUCH_NAME),
        ("printer.lan", NO_SUCH_NAME),
    ],
    "warn/empty_host_map_line": [("intra.lan", "10.0.0.1"), ("mail.lan", "10.0.0.2")],
    "warn/leading_colon": [("intra.lan", "10.0.0.2"), (["10.0.0.1"], NO_SUCH_NAME), (":10.0.0.1", NO_SUCH_NAME)],
    "warn/line_as_in_a_hosts_file": [("intra.lan", NO_SUCH_NAME), ("10.0.0.2", NO_SUCH_NAME), ("mail.lan", NO_SUCH_NAME)],
    "warn/other_signs_for_a_colon": [
        ("intra.lan", NO_SUCH_NAME),
        ("intra.lan=10.0.0.1", WRONG),
        ("mail.lan", NO_SUCH_NAME),
        ("mail.lan,10.0.0.2", WRONG),
        ("web.lan", NO_SUCH_NAME),
        ("web.lan;10.0.0.3", WRONG),
        ("ftp.lan", NO_SUCH_NAME),
        ("10.0.0.4", NO_SUCH_NAME),
        ("10.0.0.4\tftp.lan ftp\r", "10.0.0.4"),
    ],
    "warn/quotes_and_numbers": [
        ("intra.lan", NO_SUCH_NAME),
        ('"intra.lan"', "10.0.0.1"),
        ("mail\x01212.lan", "10.0.0.2"),
        ("web\\1.lan", "10.0.0.3"),
    ],
    "warn/address_without_a_name": [("10.0.0.1", "10.0.0.1")],
    "warn/trailing_dot": [("intra.lan", NO_SUCH_NAME)],
    "warn/other_dots": [("intra.lan", NO_SUCH_NAME), ("mail.lan", NO_SUCH_NAME), (["mail.", "lan"], "10.0.0.2")],
    "warn/blanks_in_the_name": [
        ("intra.lan", NO_SUCH_NAME),
        ("mail.lan", NO_SUCH_NAME),
        ("web.lan", NO_SUCH_NAME),
        (" intra.lan", "10.0.0.1"),
        (" ", WRONG),
    ],
    "warn/comment_signs": [
        ("# our names", WRONG),
        ("intra.lan", NO_SUCH_NAME),
        ("#intra.lan", "10.0.0.1"),
        ("; mail.lan", "10.0.0.2"),
        ("// web.lan", "10.0.0.3"),
        ("ftp.lan", NO_SUCH_NAME),
        ("ftp.lan#old", "10.0.0.4"),
    ],
    "warn/wildcard": [("host.intra.lan", NO_SUCH_NAME), ("intra.lan", NO_SUCH_NAME), ("*.intra.lan", "10.0.0.1")],
    "warn/name_twice": [("intra.lan", "10.0.0.1")],
    "warn/name_too_long_for_programs": [
        ("a" * 64 + ".lan", "10.0.0.1"),
        (".".join(["b" * 63] * 3 + ["c" * 62]), "10.0.0.2"),
        ("d" * 127, "10.0.0.3"),
        (".".join(["e" * 126] * 8 + ["f" * 8]), "10.0.0.4"),
    ],
    "warn/name_too_long_to_decode": [(".".join(["b" * 63] * 16 + ["c"]), NO_SUCH_NAME)],
    "warn/reverse_name": [
        ("1.0.0.10.in-addr.arpa", NO_SUCH_NAME),
        ("x.in-addr.arpa.lan", NO_SUCH_NAME),
        ("1.0.0.10.IN-ADDR.ARPA", "10.0.0.1"),
    ],
    "warn/name_beyond_ascii": [("b\u00c3\u00bccher.lan", "10.0.0.1"), ("xn--bcher-kva.lan", NO_SUCH_NAME)],
    "warn/byte_order_mark": [("intra.lan", NO_SUCH_NAME), ("mail.lan", "10.0.0.2")],
    "warn/name_with_nul": [("intra.lan", "10.0.0.1"), ("mail.lan", "10.0.0.2")],
    "warn/address_in_an_odd_form": [("a.lan", "10.0.0.1"), ("b.lan", "10.0.0.2"), ("c.lan", "10.0.0.3")],
    "warn/address_with_blanks_behind": [("a.lan", "10.0.0.1"), ("b.lan", "10.0.0.2")],
    "warn/host_map_with_carriage_returns": [("a.lan", "10.0.0.1"), ("b.lan", "10.0.0.2"), ("\r", WRONG)],
    "bad/no_colon": [("localhost", WRONG)],
    "bad/host_map_address_is_no_address": [("a.lan", WRONG), ("b.lan", WRONG), ("c.lan", WRONG)],
    "bad/host_map_address_with_port": [("a.lan", WRONG)],
    "bad/host_map_address_with_blank_in_front": [("a.lan", WRONG)],
    "bad/host_map_address_ipv6": [("a.lan", WRONG), ("b.lan", WRONG)],
    "bad/host_map_of_an_old_mac": [("intra.lan", "10.0.0.1"), ("mail.lan", NO_SUCH_NAME)],
    "bad/ipv6_address_cut": [("fe80", WRONG), ("2001", WRONG), ("a.lan", NO_SUCH_NAME)],
    "bad/wrong_way_round": [("10.0.0.1", WRONG), ("a.lan", NO_SUCH_NAME)],
}


def question_of(labels):
    wire = b"".join(bytes([len(label)]) + label.encode("latin-1") for label in labels)
    return from_hex("00 01 01 00 00 01 00 00 00 00 00 00") + wire + from_hex("00 00 01 00 01")


def answer_to(application, question):
    application.send(question_of(question.split(".") if isinstance(question, str) else question))
    response = application.receive()
    if ctl.is_no_such_name(response):
        return NO_SUCH_NAME
    return ".".join(str(byte) for byte in response[-4:])


def prove(fixture, folder):
    """Without servers, so that a miss shows at once."""
    with ctl.serving(hostmap=(folder / "hostmap").read_bytes()), Application() as application:
        for question, answer in QUESTIONS[fixture]:
            assert answer_to(application, question) == answer, question
