"""Starting a program on port 53 of 127.0.0.1 and ending it again."""

import contextlib
import dataclasses
import socket
import struct
import subprocess
import time

from . import places, scenarios, sinks

START_SECONDS = 30
_ASK_AGAIN_SECONDS = 0.05
_TYPES = {"A": 1, "PTR": 12}


class NotServing(Exception):
    """The program did not come up or has gone; the text is one sentence."""


@dataclasses.dataclass(frozen=True)
class Program:
    """`command(scenario)` writes what the program reads and gives its command line."""

    name: str
    title: str
    command: callable
    sink: str = "null"


def write_configuration(host_names, servers):
    """The proxy's two files."""
    places.CONFIGURATION.mkdir(parents=True, exist_ok=True)
    with open(places.CONFIGURATION / "hostmap", "w", encoding="ascii") as hostmap:
        for number in range(host_names):
            hostmap.write(f"{scenarios.host_name(number)}:{scenarios.HOST_ADDRESS}\n")
    (places.CONFIGURATION / "dns").write_text("".join(f"{server}\n" for server in servers))


def query(question, identifier=0):
    """One query datagram for a line as dnsperf reads it."""
    name, kind = question.split()
    labels = b"".join(bytes([len(label)]) + label.encode() for label in name.split("."))
    return struct.pack("!6H", identifier, 0x0100, 1, 0, 0, 0) + labels + struct.pack("!BHH", 0, _TYPES[kind], 1)


def wait_until_serving(process, question, timeout=START_SECONDS):
    """Asks until an answer comes; the result is the time it took."""
    begin = time.monotonic()
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as application:
        application.connect(("127.0.0.1", 53))
        application.settimeout(_ASK_AGAIN_SECONDS)
        while time.monotonic() - begin < timeout:
            if process.poll() is not None:
                raise NotServing(f"{process.args[0]} ended with status {process.returncode}.")
            try:
                application.send(query(question))
                application.recv(65535)
                return time.monotonic() - begin
            except ConnectionRefusedError:
                time.sleep(0.001)
            except TimeoutError:
                pass
    raise NotServing(f"{process.args[0]} gave no answer within {timeout} s.")


def end(process):
    process.kill()
    process.wait()


@contextlib.contextmanager
def upstream(manners):
    """The upstream servers, each with its manner, from 127.0.0.2 on."""
    if not manners:
        yield
        return
    arguments = [f"127.0.0.{2 + position}={manner}" for position, manner in enumerate(manners)]
    process = subprocess.Popen([places.TOOLS / "upstream", *arguments], stdout=subprocess.PIPE)
    try:
        if process.stdout.readline() != b"ready\n":
            raise NotServing("The upstream servers did not come up.")
        yield
    finally:
        end(process)


@contextlib.contextmanager
def running(program, scenario):
    """The program, serving, as a process; its trace goes to `program.sink`."""
    with sinks.opened(program.sink) as output:
        process = subprocess.Popen(
            [str(part) for part in program.command(scenario)],
            stdin=subprocess.DEVNULL,
            stdout=output,
            stderr=subprocess.DEVNULL,
            cwd=places.work_folder(),
        )
        try:
            wait_until_serving(process, scenario.question(0))
            yield process
        finally:
            end(process)


def proxy(sink, binary=places.PROXY, name="proxy"):
    def command(scenario):
        write_configuration(scenario.host_names, scenario.servers())
        return [binary]

    return Program(f"{name}/{sink}", f"dns_proxy_mac, trace to {sinks.TITLES[sink]}", command, sink)
