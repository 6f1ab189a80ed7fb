"""`trace` on what the real proxy prints while both its workers are in the fallback at once."""

import contextlib
import json

from harness import Application, query, wait_until

import ctl

QUERIES = 20_000
NO_SUCH_NAME = b"(line:685) no more DNS methods, send no such name response"
IN_FLIGHT = 64  # as many as the sockets keep without loss


def ask(application, count):
    """Sends so many queries, as fast as answers come back."""
    sent = received = 0
    while received < count:
        while sent < count and sent - received < IN_FLIGHT:
            application.send(query(sent % 65536, f"n{sent % 1000}.example"))
            sent += 1
        assert ctl.is_no_such_name(application.receive())
        received += 1


def test_two_servers_without_answers_at_full_load(tmp_path):
    path = tmp_path / "trace"
    with contextlib.ExitStack() as stack:
        output = stack.enter_context(open(path, "wb"))
        for address in ("127.0.0.2", "127.0.0.3"):
            stack.enter_context(ctl.answering(address, lambda datagram: [ctl.empty_response(datagram)]))
        stack.enter_context(ctl.tracing_into(output, b"127.0.0.2\n127.0.0.3\n", b"a.lan:10.0.0.1\n"))
        ask(stack.enter_context(Application()), QUERIES)
        # The proxy writes its last lines when it has nothing to do.
        wait_until(lambda: path.read_bytes().count(NO_SUCH_NAME) == QUERIES, "the last lines of the trace")
    result = json.loads(ctl.run("trace", "--json", path).stdout)
    assert result["not_understood"] == 0
    assert result["queries"] == {
        "accepted": QUERIES,
        "accepted_before": 0,
        "from_host_map": 0,
        "answered": 0,
        "no_such_name": QUERIES,
        "waiting": 0,
        "names_cut_short": 0,
    }
    assert result["servers"] == [
        {"address": address, "asked": QUERIES, "answers": 0, "empty": QUERIES, "waiting": 0}
        for address in ("127.0.0.2", "127.0.0.3")
    ]
    assert set(result["dropped"].values()) == {0}
