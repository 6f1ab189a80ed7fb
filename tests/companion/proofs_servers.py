"""For each fixture about the servers: which of them the proxy asks, and what the application gets."""

import contextlib

from harness import Application, Proxy, Upstream, query

import ctl

UNREACHABLE = 101  # a network without a route: what a broadcast is refused with here


def ask(application, name="some.lan"):
    question = query(1, name)
    application.send(question)
    return question


def body(message):
    return message[2:]


def asks_in_turn(*addresses):
    """A question goes to each of these servers in this order; none has an answer."""

    def prove(dns, hostmap):
        with contextlib.ExitStack() as stack:
            stack.enter_context(ctl.serving(dns, hostmap))
            application = stack.enter_context(Application())
            servers = {address: stack.enter_context(Upstream(address)) for address in dict.fromkeys(addresses)}
            question = ask(application)
            for address in addresses:
                received = servers[address].receive()
                assert body(received) == body(question)
                servers[address].send(ctl.empty_response(received))
            assert ctl.is_no_such_name(application.receive())

    return prove


def drops_at(position, asked_before=(), never_asked=("127.0.0.2",)):
    """A question goes to these servers, is then dropped, and no other server hears of it."""

    def prove(dns, hostmap):
        with contextlib.ExitStack() as stack:
            proxy = stack.enter_context(ctl.serving(dns, hostmap))
            application = stack.enter_context(Application())
            before = [stack.enter_context(Upstream(address)) for address in asked_before]
            others = [stack.enter_context(Upstream(address)) for address in never_asked]
            ask(application)
            for server in before:
                server.send(ctl.empty_response(server.receive()))
            proxy.trace.take_until(f"TryNextDNSQueryMethod: id: 0,sendto failed: {UNREACHABLE}")
            ctl.wait_for_reverse_answer(application)
            for server in others:
                server.assert_nothing_received()

    assert position == len(asked_before)
    return prove


def circles(dns, hostmap):
    """One question is accepted again and again."""
    with ctl.serving(dns, hostmap) as proxy, Application() as application:
        ask(application)
        proxy.trace.take_until(
            "func: RecvAndProcessPacketsFromLocalApps(line:464)FromAPP: the request domain is some.lan, id:300"
        )
        application.assert_nothing_received()


def sends_reverse_names_to(address):
    def prove(dns, hostmap):
        with ctl.serving(dns, hostmap), Application() as application, Upstream(address) as server:
            question = ask(application, "1.0.0.10.in-addr.arpa")
            received = server.receive()
            assert body(received) == body(question)
            server.send(ctl.empty_response(received))
            assert ctl.is_no_such_name(application.receive())

    return prove


def answers_reverse_names_itself(dns, hostmap):
    with ctl.serving(dns, hostmap), Application() as application:
        ask(application, "1.0.0.10.in-addr.arpa")
        assert ctl.is_no_such_name(application.receive())


def wraps_after_256(dns, hostmap):
    """The first server is asked again after the 256th, and any behind that never."""
    addresses = dns.decode().split()
    with contextlib.ExitStack() as stack:
        stack.enter_context(ctl.serving(dns, hostmap))
        application = stack.enter_context(Application())
        servers = [stack.enter_context(Upstream(address)) for address in addresses]
        question = ask(application)
        for turn in range(600):
            server = servers[turn % 256]
            received = server.receive()
            assert body(received) == body(question)
            server.send(ctl.empty_response(received))
        for server in servers[256:]:
            server.assert_nothing_received()
        application.assert_nothing_received()


def comes_to_an_end(dns, hostmap):
    """Every server is asked once; then the answer is "no such name"."""
    addresses = dns.decode().split()
    with contextlib.ExitStack() as stack:
        stack.enter_context(ctl.serving(dns, hostmap))
        application = stack.enter_context(Application())
        servers = [stack.enter_context(Upstream(address)) for address in addresses]
        ask(application)
        for server in servers:
            server.send(ctl.empty_response(server.receive()))
        assert ctl.is_no_such_name(application.receive())


def sends_reverse_names_on_and_wraps(dns, hostmap):
    with ctl.serving(dns, hostmap), Application() as application, Upstream("127.0.1.160") as server:
        question = ask(application, "1.0.0.10.in-addr.arpa")
        assert body(server.receive()) == body(question)
    wraps_after_256(dns, hostmap)


def ends_at_once(dns, hostmap):
    with Proxy(dns, hostmap) as proxy:
        proxy.expect_trace(["dnsproxy: dns_size:0, hostmap_size:0", "func: main(line:79) StartDnsSrv failed"])
        proxy.expect_exit(0)


PROOFS = {
    "good/servers_alone": asks_in_turn("127.0.0.2"),
    "good/list_of_159_methods": answers_reverse_names_itself,
    "warn/server_in_an_odd_form": asks_in_turn("127.0.0.2", "127.0.0.3", "127.0.0.4", "127.0.0.5"),
    "warn/server_with_carriage_return": asks_in_turn("127.0.0.2", "127.0.0.3"),
    "warn/server_with_blanks_behind": asks_in_turn("127.0.0.2", "127.0.0.3"),
    "warn/server_with_nul": asks_in_turn("127.0.0.2"),
    "warn/server_twice": asks_in_turn("127.0.0.2", "127.0.0.3", "127.0.0.2"),
    "warn/server_link_local": drops_at(0),
    "warn/list_of_160_servers": sends_reverse_names_to("127.0.1.160"),
    "warn/list_of_160_methods_with_host_map": sends_reverse_names_to("127.0.1.159"),
    "warn/list_of_255_methods": comes_to_an_end,
    "bad/nothing_configured": ends_at_once,
    "bad/empty_server_line": drops_at(1, asked_before=["127.0.0.2"], never_asked=["127.0.0.3"]),
    "bad/server_that_is_no_address": drops_at(0),
    "bad/server_after_a_word": drops_at(0),
    "bad/server_with_five_parts": drops_at(0),
    "bad/server_with_a_bad_octal_part": drops_at(0),
    "bad/server_comment": drops_at(0),
    "bad/server_ipv6": drops_at(0),
    "bad/server_with_port": drops_at(0, never_asked=["127.0.0.2", "127.0.0.3"]),
    "bad/server_with_blank_in_front": drops_at(0),
    "bad/server_all_ones": drops_at(0),
    "bad/server_multicast": drops_at(0),
    "bad/server_where_no_hosts_are": drops_at(0),
    "bad/servers_of_an_old_mac": asks_in_turn("127.0.0.2"),
    "bad/server_is_the_proxy": circles,
    "bad/server_is_any_address": circles,
    "bad/server_is_the_proxy_in_an_odd_form": circles,
    "bad/list_of_256_servers": sends_reverse_names_on_and_wraps,
    "bad/list_of_257_servers": sends_reverse_names_on_and_wraps,
}
