"""Random contents of the two configuration files."""

from .questions import plain_label, plain_name

UNSENDABLE = (b"", b"10.0.0.1", b"no-address", b"127.255.255.255", b"255.255.255.255", b"127.0.0.2:53", b"256.1.1.1")
ODD_LOOPBACK = (b"127.0.0.2 ", b"127.2", b"0x7f.0.0.3", b"127.0.04", b"2130706437", b"127.0.0.6\tx", b"127.0.0.7\0no")
ADDRESSES = (b"10.1.2.3", b"192.168.20.255", b"1.2.3.4:53", b"none", b"", b"0x0a.1", b"10.0.0.1 ", b"10.0.0.2\0x", b"8")
ORDINARY, SEVERAL, MANY, OVER_A_BYTE, NOTHING = "ordinary", "several", "many", "over a byte", "nothing"


def joined(rng, lines, end=b"\n"):
    """None for no file at all, where that makes no difference; the last end may be missing."""
    if not lines:
        return rng.choice((None, b""))
    content = end.join(lines)
    if rng.random() < 0.05:
        return content + end * 2
    return content + end if not lines[-1] or rng.random() < 0.8 else content


def server(rng, oddity):
    """Never the proxy's own address: it would ask itself for ever."""
    kind = rng.random()
    if kind < oddity / 2:
        return rng.choice(UNSENDABLE)
    if kind < oddity:
        return rng.choice(ODD_LOOPBACK)
    return b"127.0.0.%d" % rng.randint(2, 9)


def distinct_servers(rng, count):
    """So many addresses that a response from the wrong one is told apart, at times with bad ones among them."""
    servers = [b"127.0.%d.%d" % (at // 200 + 1, at % 200 + 1) for at in range(count)]
    for _ in range(rng.choice((0, 0, 0, 1, 3))):
        servers[rng.randrange(count)] = rng.choice(UNSENDABLE)
    return servers


def host_domain(rng):
    kind = rng.random()
    if kind < 0.55:
        return plain_name(rng)
    if kind < 0.65:
        return plain_name(rng).title()
    if kind < 0.72:
        return b"%d.0.0.10.in-addr.arpa" % rng.randrange(256)
    if kind < 0.76:
        return b".".join(b"n" * 0x7F for _ in range(7)) + b"." + b"n" * rng.choice((126, 127))
    odd = (b"intra.lan.", b"*.intra.lan", b"a\0b", b"%s%d", b"x y", b"\xe4.lan", plain_label(rng), b".lead")
    return rng.choice(odd)


def host_line(rng):
    kind = rng.random()
    if kind < 0.06:
        return rng.choice((b"", b":", b":1.2.3.4", b"localhost", b"\0", b"a:", b"\r"))
    return host_domain(rng) + b":" + rng.choice(ADDRESSES)


def host_lines(rng):
    lines = [host_line(rng) for _ in range(rng.choice((0, 1, 2, 3, 6)))]
    if lines and rng.random() < 0.2:
        domain = lines[0].split(b":")[0]
        lines.append(domain + b":10.9.9.9")
    return lines


def random_files(rng):
    """(kind, bytes of the server file, bytes of the host map file)."""
    kind = rng.choices((ORDINARY, SEVERAL, MANY, OVER_A_BYTE, NOTHING), (64, 13, 13, 7, 3))[0]
    if kind == NOTHING:
        return kind, rng.choice((None, b"")), rng.choice((None, b"", b":1.2.3.4\n", b"::\n:"))
    if kind == ORDINARY:
        servers = [server(rng, 0.1) for _ in range(rng.choice((0, 1, 1, 2, 2, 3, 4)))]
    elif kind == SEVERAL:
        servers = [server(rng, 0.5) for _ in range(rng.randint(1, 12))]
    elif kind == MANY:
        servers = distinct_servers(rng, rng.randint(155, 166))
    else:
        servers = distinct_servers(rng, rng.randint(254, 262))
    hosts = host_lines(rng)
    if kind == OVER_A_BYTE and rng.random() < 0.6:
        hosts.append(b"9.0.0.10.in-addr.arpa:10.9.0.9")
    end = b"\r\n" if rng.random() < 0.1 else b"\n"
    return kind, joined(rng, servers, end), joined(rng, hosts, end)
