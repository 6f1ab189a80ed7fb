"""What the page counts, against what was sent through a real proxy."""

import subprocess
import threading

from harness import Application, deadline_seconds, query, wait_until

from page import SERVER, SILENT_SERVER, START, Page, ask, filed, proxy_tracing_into, servers, usual_replies

HOST_MAP = b"mail.example:10.0.0.1\n"


def test_every_query_is_counted_by_its_outcome(folder):
    with servers(), proxy_tracing_into(folder / "trace", f"{SERVER}\n".encode(), HOST_MAP), Page(folder) as page:
        ask("mail.example", "www.example", "empty.example", "9.9.9.9.in-addr.arpa", "mail.example")
        page.wait_for(host_map=2, answered=1, no_such_name=2)
        servers_now = page.get("/api/now")["servers"]
        assert [(one["address"], one["asked"], one["answers"], one["empty"]) for one in servers_now] == [
            (SERVER, 2, 1, 1)
        ]


def test_a_query_at_a_silent_server_waits_and_is_lost_with_the_proxy(folder):
    with servers(), Page(folder) as page:
        with proxy_tracing_into(folder / "trace", f"{SILENT_SERVER}\n".encode(), HOST_MAP):
            ask("www.example", wants_answers=False)
            page.wait_for(waiting=1)
            now = page.get("/api/now")
            assert now["proxy"]["state"] == "serving"
            assert [(one["name"], one["server"]) for one in now["waiting"]] == [("www.example", SILENT_SERVER)]
        with proxy_tracing_into(folder / "trace", f"{SERVER}\n".encode(), HOST_MAP):
            page.wait_for(lost=1)
            ask("www.example")
            page.wait_for(lost=1, answered=1)


def test_the_counts_go_on_after_a_restart_of_page_and_proxy(folder):
    trace = folder / "trace"
    with servers():
        with proxy_tracing_into(trace, f"{SERVER}\n".encode(), HOST_MAP):
            with Page(folder) as page:
                ask("mail.example", "www.example")
                page.wait_for(host_map=1, answered=1)
            ask("mail.example")
            with Page(folder) as page:
                page.wait_for(host_map=2, answered=1)
        with proxy_tracing_into(trace, f"{SERVER}\n".encode(), HOST_MAP):
            ask("www.example")
            with Page(folder) as page:
                page.wait_for(host_map=2, answered=2)
                rows = page.get("/api/queries")
                assert rows["count"] == 4
                assert [row["name"] for row in rows["queries"]] == [
                    "www.example", "mail.example", "www.example", "mail.example"
                ]


def test_what_is_known_of_the_proxy_and_its_servers_is_known_after_a_restart_of_the_page(folder):
    def known(page):
        now = page.get("/api/now")
        kept = ("address", "asked", "answers", "empty", "last_response", "waits_since")
        return now["proxy"], [{key: one[key] for key in kept} for one in now["servers"]]

    with servers(), proxy_tracing_into(folder / "trace", f"{SERVER}\n".encode(), HOST_MAP):
        with Page(folder) as page:
            ask("www.example", "empty.example")
            page.wait_for(answered=1, no_such_name=1)
            ask(b"12345678901", wants_answers=False)
            wait_until(lambda: page.get("/api/now")["proxy"]["state"] == "intake_ended", "the end of intake")
            before = known(page)
        with Page(folder) as page:
            wait_until(lambda: page.get("/api/now")["trace"]["read"], "the trace")
            proxy, [server] = known(page)
    assert (proxy, [server]) == before
    assert (proxy["state"], proxy["reason"]) == (
        "intake_ended",
        "a datagram of 11 bytes from 127.0.0.1, shorter than a header, ended the intake of queries",
    )
    assert proxy["started"] > 0
    assert (server["address"], server["asked"], server["answers"], server["empty"]) == (SERVER, 2, 1, 1)
    assert server["last_response"] > 0


def test_a_renewed_file_is_gone_on_with(folder):
    trace = folder / "trace"
    with servers(), Page(folder) as page:
        for run in (1, 2, 3):
            with proxy_tracing_into(trace, f"{SERVER}\n".encode(), HOST_MAP):
                ask("www.example", "mail.example")
                page.wait_for(host_map=run, answered=run)
            trace.rename(folder / "trace.1")


def test_a_file_renewed_while_the_page_was_away_is_read_to_its_end(folder):
    trace = folder / "trace"
    with servers():
        with proxy_tracing_into(trace, f"{SERVER}\n".encode(), HOST_MAP):
            with Page(folder) as page:
                ask("mail.example")
                page.wait_for(host_map=1)
            ask("www.example", "www.example")
        trace.rename(folder / "trace.1")
        with proxy_tracing_into(trace, f"{SERVER}\n".encode(), HOST_MAP):
            ask("mail.example")
            with Page(folder) as page:
                page.wait_for(host_map=2, answered=2)


def test_the_end_of_intake_is_told_with_its_cause(folder):
    with servers(), proxy_tracing_into(folder / "trace", f"{SERVER}\n".encode(), HOST_MAP), Page(folder) as page:
        ask(b"12345678901", wants_answers=False)
        wait_until(lambda: page.get("/api/now")["proxy"]["state"] == "intake_ended", "the end of intake")
        assert page.get("/api/now")["proxy"]["reason"] == (
            "a datagram of 11 bytes from 127.0.0.1, shorter than a header, ended the intake of queries"
        )


def test_totals_add_up_to_what_was_sent(folder):
    with servers(), proxy_tracing_into(folder / "trace", f"{SERVER}\n".encode(), HOST_MAP), Page(folder) as page:
        page.wait_until_serving()
        ask(*["mail.example"] * 30, *["www.example"] * 20, *["empty.example"] * 10)
        page.wait_for(host_map=30, answered=20, no_such_name=10)
        for span in ("hour", "day", "week", "year"):
            totals = page.get("/api/totals", span=span)
            sums = {outcome: sum(values) for outcome, values in totals["outcomes"].items()}
            assert sums == {"host_map": 30, "answered": 20, "no_such_name": 10, "lost": 0}
            server = totals["servers"][SERVER]
            assert (sum(server["asked"]), sum(server["responses"]), sum(server["empty"])) == (30, 30, 10)
            assert 0 <= server["all_median"] <= server["all_p95"] < 1000000


def test_a_name_is_explained(folder):
    dns = f"{SERVER}\n".encode()
    seen_waiting = threading.Event()  # what is asked and answered in one look of the page has no time

    def replies(datagram):
        assert seen_waiting.wait(deadline_seconds())
        return usual_replies(datagram)

    with servers(replies), proxy_tracing_into(folder / "trace", dns, HOST_MAP), Page(folder) as page:
        page.wait_until_serving()  # what is in the trace before the page looks has no time either
        with Application() as application:
            application.send(query(1, "www.example"))
            page.wait_for(waiting=1)
            seen_waiting.set()
            application.receive()
        ask("empty.example", "mail.example")
        page.wait_for(host_map=1, answered=1, no_such_name=1)
        www = page.get("/api/name", name="www.example")
        assert www["host_map_line"] == "www.example:10.0.0.1"
        assert www["why"].startswith(f"{SERVER} answered after ")
        assert www["trace"][0] == "func: thread_query(line:282) ****QureyThread***: received dns request"
        assert "domain www.example received answer" in www["trace"][-1]
        empty = page.get("/api/name", name="empty.example")
        assert empty["why"].startswith(f"{SERVER} responded without an answer")
        assert empty["why"].endswith('No server was left: the proxy said "no such name".')
        assert page.get("/api/name", name="mail.example")["why"] == "The host map has this name."


def test_a_name_is_found_in_upper_and_lower_case(folder):
    with servers(), proxy_tracing_into(folder / "trace", f"{SERVER}\n".encode(), HOST_MAP), Page(folder) as page:
        ask("WWW.Example", "mail.example")
        page.wait_for(host_map=1, answered=1)
        for part in ("www", "wWw.eX", "W.EXAMPLE"):
            assert [row["name"] for row in page.get("/api/queries", name=part)["queries"]] == ["WWW.Example"]


def test_the_host_map_line_of_a_name_answers_it(folder):
    dns, trace = f"{SERVER}\n".encode(), folder / "trace"
    with servers(), Page(folder) as page:
        with proxy_tracing_into(trace, dns, HOST_MAP):
            ask("WWW.Example")
            page.wait_for(answered=1)
        line = page.get("/api/name", name="WWW.Example")["host_map_line"]
        with proxy_tracing_into(trace, dns, line.encode()):
            ask("WWW.Example")
            page.wait_for(answered=1, host_map=1)


def test_what_waited_at_the_end_of_standard_input_is_counted_when_the_next_begins(folder):
    with Page(folder, trace="-", stdin=subprocess.PIPE) as page:
        page.process.stdin.buffer.write(START + filed("a.example", 0).rsplit(b"func:", 1)[0])
        page.process.stdin.close()
        page.process.stdin = None
        page.wait_for(waiting=1)
    with Page(folder, trace="-", stdin=subprocess.PIPE) as page:
        page.process.stdin.buffer.write(START)
        page.process.stdin.close()
        page.process.stdin = None
        page.wait_for(lost=1)
