"""The two answers that the proxy makes itself, from the stored query of a request."""

TYPE_AAAA = 28
RESPONSE_BIT = 0x80
CODE_BITS = 0x0F


def host_map_answer(packet, client_id, qtype, record):
    """The query with the record behind its last byte. AAAA is answered with a count of two for one record."""
    count = b"\0\2" if qtype == TYPE_AAAA else b"\0\1"
    flags = bytes([packet[2] | RESPONSE_BIT, packet[3] & ~CODE_BITS])
    return client_id + flags + packet[4:6] + count + packet[8:] + record


def no_such_name(packet, client_id):
    """As long as the query, flags written whole, one question, no records counted."""
    return client_id + bytes.fromhex("8003 0001 0000 0000 0000") + packet[12:]
