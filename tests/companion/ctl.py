"""Runs of dns_proxy_ctl, and of a proxy beside it."""

import contextlib
import os
import pathlib
import select
import socket
import subprocess
import threading

from harness import Application, BinaryMissing, Proxy, deadline_seconds, query, wait_until

BINARY_VARIABLE = "DNS_PROXY_CTL"
REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
FIXTURES = pathlib.Path(__file__).resolve().parent / "fixtures"

SERVING = "func: StartDnsSrv(line:161) pthread_create thread_query success"
REVERSE_NAME = "9.9.9.9.in-addr.arpa"
NO_SUCH_NAME_FLAGS = bytes.fromhex("80 03")
RESPONSE_BIT = 0x80


def ctl_path():
    path = pathlib.Path(os.environ.get(BINARY_VARIABLE, REPOSITORY / "build" / "dns_proxy_ctl"))
    if not os.access(path, os.X_OK):
        raise BinaryMissing(f"There is no program at {path}: build it, or name another in {BINARY_VARIABLE}.")
    return str(path.resolve())


def run(*arguments, wrapper=(), **options):
    """One run to its end: status, standard output and standard error as text."""
    options.setdefault("stdin", subprocess.DEVNULL if "input" not in options else None)
    if options["stdin"] is None:
        del options["stdin"]
    return subprocess.run(
        [*wrapper, ctl_path(), *map(str, arguments)],
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        timeout=60 + deadline_seconds(),
        encoding="latin-1",
        check=False,
        **options,
    )


def start(*arguments, **options):
    """A run that goes on; the caller ends it."""
    return subprocess.Popen([ctl_path(), *map(str, arguments)], **options)


@contextlib.contextmanager
def serving(dns=None, hostmap=None, **options):
    """A proxy that serves with these two files; what it prints is looked at by whoever cares."""
    with Proxy(dns=dns, hostmap=hostmap, **options) as proxy:
        proxy.trace.take_until(SERVING)
        yield proxy
        proxy.kill()


@contextlib.contextmanager
def listening_everywhere():
    """Somebody holds port 53 of every address, so that no verdict on a server is that nobody does."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as holder:
        holder.bind(("0.0.0.0", 53))
        yield


def empty_response(to_query):
    """A server's response without answer records."""
    return to_query[:2] + bytes([to_query[2] | RESPONSE_BIT]) + to_query[3:]


def is_no_such_name(response):
    return response[2:4] == NO_SUCH_NAME_FLAGS


def wait_for_reverse_answer(application):
    """A barrier: the proxy has dealt with all that this application sent before."""
    with Application() as other:
        other.send(query(7, REVERSE_NAME))
        assert is_no_such_name(other.receive())
    application.assert_nothing_received()


@contextlib.contextmanager
def answering(address, replies):
    """A server on port 53 of `address` that sends what `replies(datagram)` lists; yields what it was sent."""
    received = []
    wake, stop = os.pipe()
    server = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    server.bind((address, 53))

    def serve():
        while wake not in select.select([server, wake], [], [])[0]:
            datagram, sender = server.recvfrom(65535)
            received.append(datagram)
            for reply in replies(datagram):
                server.sendto(reply, sender)

    thread = threading.Thread(target=serve)
    thread.start()
    try:
        yield received
    finally:
        os.close(stop)
        thread.join()
        os.close(wake)
        server.close()


@contextlib.contextmanager
def tracing_into(output, dns=None, hostmap=None):
    """A proxy that serves and whose trace goes into this open file."""
    with Proxy(dns=dns, hostmap=hostmap, stdout=output) as proxy:
        path = pathlib.Path("/proc/self/fd") / str(output.fileno())
        wait_until(lambda: SERVING.encode() in path.read_bytes(), "the proxy to serve")
        yield proxy
        proxy.kill()
