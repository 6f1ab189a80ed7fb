"""Runs of dns_proxy_page, and a proxy with its servers and applications beside it."""

import contextlib
import http.client
import json
import os
import pathlib
import re
import select
import socket
import subprocess
import threading
import urllib.parse

from harness import Application, BinaryMissing, Proxy, deadline_seconds, query, wait_until

BINARY_VARIABLE = "DNS_PROXY_PAGE"
REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
SERVER = "127.0.0.8"
SILENT_SERVER = "127.0.0.9"
ANSWER = bytes.fromhex("c00c 0001 0001 0000003c 0004 0a000001")
SERVING = "func: StartDnsSrv(line:161) pthread_create thread_query success"


def companion_path():
    """The real dns_proxy_ctl."""
    return str(pathlib.Path(os.environ.get("DNS_PROXY_CTL", REPOSITORY / "build" / "dns_proxy_ctl")).resolve())


def page_path():
    path = pathlib.Path(os.environ.get(BINARY_VARIABLE, REPOSITORY / "build" / "dns_proxy_page"))
    if not os.access(path, os.X_OK):
        raise BinaryMissing(f"There is no program at {path}: build it, or name another in {BINARY_VARIABLE}.")
    return str(path.resolve())


class Page:
    """One run of the program on a free port; the end of the `with` block ends it and looks at how."""

    def __init__(self, folder, *options, trace=None, database=None, port=0, companion="none", **popen):
        self.folder = pathlib.Path(folder)
        self.trace = trace or self.folder / "trace"
        self.database = database or self.folder / "memory.db"
        command = [page_path(), f"--port={port}", f"--trace={self.trace}", f"--database={self.database}"]
        command += [f"--companion={companion}", *options]
        self.process = subprocess.Popen(
            command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, encoding="latin-1", **popen
        )
        line = self.process.stdout.readline()
        found = re.fullmatch(r"http://127\.0\.0\.1:(\d+)/\n", line)
        assert found, line + self.process.stderr.read()
        self.port = int(found.group(1))

    def __enter__(self):
        return self

    def __exit__(self, failure, *_):
        if self.process.stdout.closed:
            return  # ended before
        if self.process.poll() is None:
            self.process.terminate() if failure is None else self.process.kill()
        out, self.errors = self.process.communicate(timeout=deadline_seconds() + 30)
        if failure is None:
            assert (self.process.returncode, out) == (0, ""), self.errors

    def end(self):
        """Asks it to end, and looks at how it does."""
        self.__exit__(None)

    def kill(self):
        """Ends it without a chance to do anything."""
        self.process.kill()
        self.process.communicate()

    def address(self, path="/"):
        return f"http://127.0.0.1:{self.port}{path}"

    def request(self, path, method="GET", host=None, **headers):
        """Status, headers and body of one answer."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=deadline_seconds() + 10)
        with contextlib.closing(connection):
            connection.putrequest(method, path, skip_host=True)
            connection.putheader("Host", host or f"127.0.0.1:{self.port}")
            for name, value in headers.items():
                connection.putheader(name.replace("_", "-"), value)
            connection.endheaders()
            answer = connection.getresponse()
            return answer.status, dict(answer.getheaders()), answer.read()

    def get(self, path, **parameters):
        """The JSON document at this address."""
        if parameters:
            path += "?" + urllib.parse.urlencode(parameters)
        status, _, body = self.request(path)
        assert status == 200, body
        return json.loads(body)

    def outcomes(self):
        """The counts of the last day, as the state tells them, with those that wait."""
        now = self.get("/api/now")
        return {**now["day"], "waiting": now["waiting_count"]}

    def written(self):
        """How many queries of the last day the database has, those just seen among them if it takes no second."""
        return sum(sum(values) for values in self.get("/api/totals", span="day")["outcomes"].values())

    def wait_for(self, is_written=True, **wanted):
        """Until the counts are these, the others 0; in the database too, unless told."""
        expected = {"host_map": 0, "answered": 0, "no_such_name": 0, "lost": 0, "waiting": 0, **wanted}
        seen = {}

        def is_there():
            seen.update(self.outcomes())
            return seen == expected

        try:
            wait_until(is_there, f"{expected}")
        except AssertionError as error:
            raise AssertionError(f"{error}; it is {seen}") from None
        if is_written:
            wait_until(lambda: self.written() == sum(expected.values()) - expected["waiting"], "all of it in the database")

    def wait_for_at_least(self, **wanted):
        """Until each of these counts has been reached."""
        wait_until(lambda: all(self.outcomes()[key] >= count for key, count in wanted.items()), f"{wanted}")

    def wait_until_serving(self):
        """Until the start of the proxy has been read."""
        wait_until(lambda: self.get("/api/now")["proxy"]["state"] == "serving", "the proxy to be seen serving")

    def raw(self):
        """A connection of its own, for requests that no client would send."""
        connection = socket.create_connection(("127.0.0.1", self.port), timeout=deadline_seconds() + 10)
        return contextlib.closing(connection)


def usual_replies(datagram):
    """No such name for what begins with "empty", one record for everything else."""
    if b"\x05empty" in datagram:
        return [datagram[:2] + b"\x81\x83" + datagram[4:]]
    return [datagram[:2] + b"\x81\x80" + datagram[4:6] + b"\0\1" + datagram[8:] + ANSWER]


@contextlib.contextmanager
def servers(replies=usual_replies):
    """Two servers: one that answers what `replies(datagram)` lists, or each query with one record; and one
    that says nothing. Yields the addresses."""

    wake, stop = os.pipe()
    with contextlib.ExitStack() as stack:
        answering, silent = (
            stack.enter_context(socket.socket(socket.AF_INET, socket.SOCK_DGRAM)) for _ in range(2)
        )
        answering.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 22)
        answering.bind((SERVER, 53))
        silent.bind((SILENT_SERVER, 53))

        def serve():
            while wake not in select.select([answering, wake], [], [])[0]:
                datagram, sender = answering.recvfrom(65535)
                for reply in replies(datagram):
                    answering.sendto(reply, sender)

        thread = threading.Thread(target=serve)
        thread.start()
        try:
            yield SERVER, SILENT_SERVER
        finally:
            os.close(stop)
            thread.join()
            os.close(wake)


@contextlib.contextmanager
def proxy_tracing_into(path, dns=None, hostmap=None):
    """A proxy that serves and adds its trace to this file."""
    starts = lambda: pathlib.Path(path).read_bytes().count(SERVING.encode())  # noqa: E731
    with open(path, "ab") as output:
        before = starts()
        with Proxy(dns=dns, hostmap=hostmap, stdout=output) as proxy:
            wait_until(lambda: starts() > before, "the proxy to serve")
            yield proxy
            proxy.wait_until_idle()  # then its trace is written
            proxy.kill()


def ask(*names, wants_answers=True):
    """Asks the proxy for each name, and takes the answers."""
    with Application() as application:
        for number, name in enumerate(names):
            application.send(query(number & 0xFFFF, name) if isinstance(name, str) else name)
            if wants_answers:
                application.receive()


def query_for_bytes(name):
    """A query for a name of any bytes, in labels of up to 63 bytes; dots in it are bytes like others."""
    labels = [name[at : at + 63] for at in range(0, len(name), 63)]
    question = b"".join(bytes([len(label)]) + label for label in labels) + b"\0" + b"\0\1\0\1"
    return b"\0\1\1\0\0\1\0\0\0\0\0\0" + question


def filed(name, number):
    """The trace of a query from the host map, as bytes, without any proxy."""
    name = name if isinstance(name, bytes) else name.encode()
    fallback = b"func: TryNextDNSQueryMethod(line:"
    intake = b"func: RecvAndProcessPacketsFromLocalApps(line:"
    number = number & 0xFFFF
    return b"".join(
        [
            b"func: thread_query(line:282) ****QureyThread***: received dns request\n",
            intake + b"412)FromAPP: received 29 data from 127.0.0.1\n",
            intake + b"420) pDNSHeader QuestionCount :1\n",
            intake + b"432) received dns request............%s\n" % name,
            intake + b"464)FromAPP: the request domain is %s, id:%d\n" % (name, number),
            fallback + b"614)TryNextDNSQueryMethod: id: %d, bReasonIsTimeout:0\n" % number,
            fallback + b"624) CurrentDNSMethodIndex: 0, DnsListSize:1\n",
            b"**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:1(0: dns, 1:hostmap)\n",
            fallback + b"669) find %s from hostmap, ip:10.0.0.1, req id:%d\n" % (name, number),
        ]
    )


START = b"""read hostmap: a.example:10.0.0.1
dnsproxy: dns_size:0, hostmap_size:1
func: StartDnsSrv(line:118) bind 127.0.0.1:53 success
func: StartDnsSrv(line:124) Add host map: a.example -> 10.0.0.1
func: StartDnsSrv(line:154) pthread_create g_thread_answer success
func: StartDnsSrv(line:161) pthread_create thread_query success
"""
