"""The two configuration files, from their bytes to what the service is started with."""

from dataclasses import dataclass, field

from . import trace_texts as texts


@dataclass
class Configuration:
    """`servers` are address texts; `host_pairs` are (domain, address text), still with any NUL inside."""

    servers: list = field(default_factory=list)
    host_pairs: list = field(default_factory=list)

    @property
    def is_empty(self):
        return not self.servers and not self.host_pairs


def lines_of(content):
    """Lines without their ends. A last line needs no end; an end makes no further line. None: no file."""
    if content is None:
        return []
    lines = content.split(b"\n")
    return lines if lines[-1] else lines[:-1]


def host_pair(line):
    """(domain, address text), or None for a line that begins with a colon.

    A line without a colon is not refused: it stands for both halves.
    """
    colon = line.find(b":")
    if colon == 0:
        return None
    if colon < 0:
        return line, line
    return line[:colon], line[colon + 1 :]


def read(dns, hostmap, trace):
    """The configuration of the two files' contents, None for a missing one; prints to `trace`."""
    configuration = Configuration()
    for line in lines_of(dns):
        trace.say(texts.READ_DNS, line)
        configuration.servers.append(texts.printed(line))
    for line in lines_of(hostmap):
        trace.say(texts.READ_HOSTMAP, line)
        pair = host_pair(line)
        if pair is not None:
            configuration.host_pairs.append(pair)
    trace.say(texts.SIZES, len(configuration.servers), len(configuration.host_pairs))
    return configuration
