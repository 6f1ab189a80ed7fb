"""A server that says nothing: how long that is waited for, and what comes after it."""

import time

from dns_bytes import SERVER_FAILURE, answer, code
from program import Asker

from harness import Proxy, query, wait_until


def fall_silent(servers, program, place=0):
    """The server behind this place falls silent, and the program has found that out."""
    servers[place].be_silent()
    with Asker(place) as asker:
        asker.ask()
    program.wait_for_state(place, health="silent")


def test_a_silent_server_is_a_failure_in_time(servers, program, record_property):
    servers[0].be_silent()
    with Asker() as asker:
        response, seconds = asker.ask()
    assert code(response) == SERVER_FAILURE
    record_property("seconds until the failure", f"{seconds:.3f}")


def test_while_it_is_known_to_be_silent_the_failure_comes_at_once(servers, program, record_property):
    fall_silent(servers, program)
    asked = len(servers[0].asked())
    with Asker() as asker:
        times = [asker.ask()[1] for _ in range(100)]
    assert sorted(times)[50] < 0.5
    assert len(servers[0].asked()) <= asked + 100  # it is probed, not asked each time
    record_property("milliseconds until the failure in the median", f"{sorted(times)[50] * 1000:.2f}")


def test_a_query_is_sent_again_until_it_is_answered(servers, program):
    come = []

    def third_time(received, _):
        come.append(received)
        return [answer(received, ["10.0.0.1"])] if len(come) == 3 else []

    servers[0].respond = third_time
    with Asker() as asker:
        response, _ = asker.ask()
    assert code(response) == 0 and len(set(come)) == 1
    program.wait_for_state(0, retries=2, answered=1, health="alive")


def test_a_server_that_is_slow_about_one_name_is_not_silent(servers, program):
    held = []

    def slow(received, _):
        if received[12] == 0:  # a probe
            return [answer(received, ["10.0.0.1"])]
        held.append(received)
        return [answer(received, ["10.0.0.1"])] if time.monotonic() > begin + 2 else []

    begin = time.monotonic()
    servers[0].respond = slow
    with Asker() as asker:
        response, seconds = asker.ask()
    assert code(response) == 0 and seconds > 1.5
    program.wait_for_state(0, health="alive", answered=1)


def test_a_name_that_is_never_answered_is_a_failure_of_its_own(servers, program):
    servers[0].respond = lambda received, _: [answer(received, ["10.0.0.1"])] if received[12] == 0 else []
    with Asker() as asker:
        response, seconds = asker.ask(seconds=30)
    assert code(response) == SERVER_FAILURE and seconds > 2
    program.wait_for_state(0, health="alive", unanswered=1)


def test_it_comes_back_with_the_second_answer(servers, program, record_property):
    fall_silent(servers, program)
    begin = time.monotonic()
    servers[0].be_well()
    program.wait_for_state(0, health="alive")
    record_property("seconds from its return", f"{time.monotonic() - begin:.3f}")
    with Asker() as asker:
        assert code(asker.ask()[0]) == 0


def test_a_server_that_answers_no_question_for_the_root_comes_back_too(servers, program):
    fall_silent(servers, program)
    servers[0].respond = lambda received, _: [] if received[12] == 0 else [answer(received, ["10.0.0.1"])]
    wait_until(lambda: program.state()[0]["health"] == "alive", "the return")


def test_a_server_that_refuses_is_known_at_once(servers, program):
    servers[0].be_silent()
    servers[0].udp.close()
    with Asker() as asker:
        response, seconds = asker.ask()
        assert code(response) == SERVER_FAILURE and seconds < 1
    program.wait_for_state(0, health="silent")


def test_a_change_of_health_is_said_once(servers, program):
    fall_silent(servers, program)
    servers[0].be_well()
    program.wait_until_said("answers again")
    assert program.said().splitlines()[1:] == [
        "dns_proxy_upstream: 127.0.9.1 is silent.",
        "dns_proxy_upstream: 127.0.9.1 answers again.",
    ]


def test_what_waits_while_the_process_does_not_run_is_no_sign_of_silence(servers, program):
    """As with a machine that sleeps: what was asked before is not held against the server."""
    answers = servers[0].respond
    servers[0].be_silent()
    with Asker() as asker:
        asker.send(query(1, "asleep.example"))
        wait_until(lambda: servers[0].asked(), "the query at the server")
        program.pause(3)
        servers[0].respond = answers
        asker.receive()
        assert code(asker.ask(query(2, "awake.example"))[0]) == 0
    assert "is silent" not in program.said()


PROXY_FILES = {"dns": b"127.0.53.1\n127.0.53.2\n127.0.53.3\n"}


def test_through_the_proxy_the_next_server_answers_in_time_and_then_at_once(servers, program, record_property):
    servers[0].be_silent()
    with Proxy(**PROXY_FILES) as proxy, Asker() as asker:
        proxy.expect_started()
        asker.socket.connect(("127.0.0.1", 53))
        response, first = asker.ask()
        assert response[-4:] == bytes([10, 0, 0, 2])
        program.wait_for_state(0, health="silent")
        response, then = asker.ask()
        assert response[-4:] == bytes([10, 0, 0, 2]) and then < 1
        servers[0].be_well()
        program.wait_for_state(0, health="alive")
        response, _ = asker.ask()
        assert response[-4:] == bytes([10, 0, 0, 1])
        proxy.trace.take_available()
        proxy.kill()
        proxy.trace.rest_until_end()
    record_property("first answer, seconds", f"{first:.3f}")
    record_property("the next, milliseconds", f"{then * 1000:.2f}")


def test_through_the_proxy_all_servers_gone_is_no_such_name_in_time(servers, program, record_property):
    for server in servers:
        server.be_silent()
    with Proxy(**PROXY_FILES) as proxy, Asker() as asker:
        proxy.expect_started()
        asker.socket.connect(("127.0.0.1", 53))
        response, first = asker.ask(seconds=30)
        assert code(response) == 3
        for place in range(3):
            program.wait_for_state(place, health="silent")
        response, then = asker.ask()
        assert code(response) == 3 and then < 1
        proxy.trace.take_available()
        proxy.kill()
        proxy.trace.rest_until_end()
    record_property("first response, seconds", f"{first:.3f}")
    record_property("the next, milliseconds", f"{then * 1000:.2f}")
