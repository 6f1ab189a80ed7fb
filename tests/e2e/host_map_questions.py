"""Questions whose answers show what the host map holds."""

import lines
from harness import from_hex, query


def expect_host_map_answer(proxy, app, name, length, address, address_bytes, number=0, methods=1):
    """The host map answers query `number`, of so many bytes; `address_bytes` is the address as hex."""
    app.send(query(0x1234, name))
    proxy.expect_trace(lines.intake(length, name, number) + lines.host_map_hit(number, methods, name, address))
    assert app.receive()[-4:] == from_hex(address_bytes)


def expect_no_such_name(proxy, app, name, length, number=0):
    """The host map, which is the only method, knows no answer to query `number`."""
    app.send(query(0x1234, name))
    proxy.expect_trace(lines.intake(length, name, number) + lines.host_map_tried(number, 1))
    proxy.expect_trace(lines.exhausted(number, 1, 1))
    assert app.receive()[:4] == from_hex("12 34 80 03")
