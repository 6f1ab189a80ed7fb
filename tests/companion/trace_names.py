"""Names that try to look like something else in the trace."""

from model import trace_texts as texts

BETWEEN_COPIES = b"\n" + texts.QUERY_ACCEPTED.split(b"%s")[0]
ADDRESSES = [b"10.0.0.8", b"10.0.0.9", b"9.9.9.9", b""]
ALL_TEXTS = [value for key, value in sorted(vars(texts).items()) if key.isupper() and isinstance(value, bytes)]
SIMPLE = [b"a.lan", b"x", b"c.lan", b"zz.example"]


def _id(random, run):
    return random.choice([run.next_id, run.next_id, run.next_id + 1, run.next_id - 1, random.randrange(10)]) % 65536


def any_line(random, run):
    """A line of the proxy with values that could be right."""
    text = random.choice(ALL_TEXTS)
    pieces = text.replace(b"%u", b"%d").split(b"%")
    line = pieces[0]
    for piece in pieces[1:]:
        if piece[:1] == b"d":
            line += b"%d" % random.choice([_id(random, run), 0, 1, 2, 53])
        else:
            line += random.choice([*ADDRESSES, *SIMPLE, *run.names])[:200]
        line += piece[1:]
    return line


def tried(number):
    return texts.FALLBACK_CALLED % (number, 0)


def next_query(random, run, name):
    """What stands between one query and the name of the next."""
    end = random.choice([
        texts.FALLBACK_POSITION % (3, 3) + texts.NO_MORE_METHODS,
        texts.FALLBACK_POSITION % (0, len(run.servers)) + texts.FALLBACK_METHOD % 0,
    ])
    return end + texts.QUERY_READABLE + texts.QUERY_RECEIVED % (60, b"127.0.0.1") + texts.QUESTION_COUNT % 1 + (
        texts.NAME_RECEIVED.split(b"%s")[0] + name
    )


def with_copy_inside(random, run):
    """A name that holds the place at which a shorter name would end."""
    inner = random.choice([*SIMPLE, *run.names])[:100]
    number = _id(random, run)
    name = inner + BETWEEN_COPIES + inner + b", id:%d\n" % number + tried(number)
    if random.random() < 0.6:
        name += next_query(random, run, random.choice([inner, b"y", name[:60]]))
    else:
        name += any_line(random, run)
    return name


def with_relayed_inside(random, run):
    """A name that goes on like the line that tells of another name's answer."""
    name = random.choice([*SIMPLE, *run.names])[:300]
    text = texts.RELAYED % (name, 1, 2, 3, 4, random.choice(ADDRESSES), _id(random, run))
    return text.split(b"domain ", 1)[1] + any_line(random, run)


def with_run_inside(random, run):
    lines = b"read dns: 6.6.6.6\ndnsproxy: dns_size:1, hostmap_size:0\n" + texts.BIND_SUCCESS % (b"127.0.0.1", 53)
    return random.choice(SIMPLE) + b"\n" + lines + texts.ADD_SERVER % b"6.6.6.6" + any_line(random, run)


def with_lines_inside(random, run):
    return b"\n".join([
        random.choice(SIMPLE),
        b"".join(any_line(random, run) for _ in range(random.randrange(1, 5))),
    ])


def of_any_bytes(random, run):
    alphabet = random.choice([bytes(range(1, 256)), b"\n.a", b"\nfunc: (line:4)", b"\x1b\r\n%sd"])
    return bytes(random.choice(alphabet) for _ in range(random.randrange(1, 300)))


def of_the_trace(random, run):
    """A piece of the trace itself."""
    recent = run.recent()
    at = random.randrange(len(recent) + 1)
    return recent[at : at + random.randrange(1, 1024)]


def hostile_name(random, run):
    make = random.choice([
        with_copy_inside, with_copy_inside, with_relayed_inside, with_run_inside, with_lines_inside, of_any_bytes,
        of_the_trace,
    ])
    name = make(random, run)
    if random.random() < 0.2:
        name += BETWEEN_COPIES + name[: random.randrange(1, 200)]
    if random.random() < 0.1:
        name = random.choice(SIMPLE) + name
    return name
