"""`watch`: it ends a proxy whose query thread has ended, and nothing else ever."""

import contextlib
import platform
import signal
import subprocess

import pytest
from harness import Application, deadline_seconds, wait_until
from harness.faults import as_user
from stand_in_process import StandIn

import ctl

HOST_MAP = b"a.lan:10.0.0.1\n"
SLEEP_CALL = {"x86_64": "230", "aarch64": "115"}[platform.machine()]  # clock_nanosleep
CPU_SECONDS_A_LOOK = 0.001  # at one look a second, a thousandth of a core


class Watch:
    def __init__(self, wrapper=()):
        command = [*wrapper, ctl.ctl_path(), "watch"]
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, encoding="ascii")

    def sleeps(self):
        """It sleeps between two looks and at no other time."""
        with open(f"/proc/{self.process.pid}/syscall", encoding="ascii") as file:
            return file.read().split()[0] == SLEEP_CALL

    def looks(self):
        """A count that grows by one with each look, from the first sleep on."""
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as file:
            counts = dict(line.split(":", 1) for line in file)
        return int(counts["voluntary_ctxt_switches"])

    def wait_for_looks(self, count):
        for _ in range(count):
            before = self.looks()
            wait_until(lambda seen=before: self.looks() > seen, "a look")

    def cpu_seconds(self):
        with open(f"/proc/{self.process.pid}/schedstat", encoding="ascii") as file:
            return int(file.read().split()[0]) / 1e9

    def line(self):
        return self.process.stdout.readline()


@contextlib.contextmanager
def watching(wrapper=()):
    """A `watch` that has looked once; it must have printed nothing but what the test has read."""
    watch = Watch(wrapper)
    try:
        wait_until(watch.sleeps, "the first look")
        yield watch
        if watch.process.poll() is None:
            watch.process.send_signal(signal.SIGTERM)
            assert watch.process.communicate(timeout=deadline_seconds()) == ("", "")
            assert watch.process.returncode == -signal.SIGTERM
    finally:
        watch.process.kill()
        watch.process.communicate()


@contextlib.contextmanager
def proxy_of(**options):
    with ctl.serving(hostmap=HOST_MAP, **options) as proxy:
        assert len(proxy.threads()) == 3
        yield proxy


def end_intake(proxy):
    threads = proxy.threads()
    with Application() as application:
        application.send(b"x")
        wait_until(lambda: threads[-1] not in proxy.threads() or proxy.process.poll() is not None, "the end of intake")


def expect_ended_by(watch, proxy):
    assert proxy.process.wait(deadline_seconds()) == -signal.SIGTERM
    assert watch.line() == (
        f"The query thread of the proxy has ended: process {proxy.pid} gets SIGTERM, to be started again.\n"
    )


@pytest.fixture
def make_stand_in(open_folder):
    made = []

    def make(**options):
        folder = open_folder / str(len(made))
        folder.mkdir(mode=0o755)
        made.append(StandIn(folder, **options))
        return made[-1]

    yield make
    for stand_in in made:
        stand_in.close()


def test_silent_while_all_is_well():
    with proxy_of() as proxy, watching() as watch:
        watch.wait_for_looks(2)
        assert len(proxy.threads()) == 3
        assert proxy.process.poll() is None


def test_silent_without_a_proxy():
    with watching() as watch:
        watch.wait_for_looks(2)


def test_proxy_whose_intake_ends_is_ended():
    with proxy_of() as proxy, watching() as watch:
        end_intake(proxy)
        expect_ended_by(watch, proxy)


def test_proxy_whose_intake_had_ended_before_is_ended():
    with proxy_of() as proxy:
        end_intake(proxy)
        with watching() as watch:
            expect_ended_by(watch, proxy)


def test_the_next_proxy_is_watched_too():
    with watching() as watch:
        for _ in range(2):
            with proxy_of() as proxy:
                watch.wait_for_looks(1)
                end_intake(proxy)
                expect_ended_by(watch, proxy)


def test_proxy_of_an_ordinary_user_is_ended_by_a_watch_of_that_user():
    with proxy_of(wrapper=as_user(["+net_bind_service"])) as proxy, watching(wrapper=as_user()) as watch:
        watch.wait_for_looks(1)
        end_intake(proxy)
        expect_ended_by(watch, proxy)


def test_proxy_that_may_not_be_ended():
    with proxy_of() as proxy, watching(wrapper=as_user()) as watch:
        watch.wait_for_looks(1)
        end_intake(proxy)
        assert watch.process.wait(deadline_seconds()) == 1
        assert watch.process.stderr.read() == (
            f"dns_proxy_ctl: The proxy, process {proxy.pid}, can't be ended: Operation not permitted.\n"
        )
        assert watch.line() == (
            f"The query thread of the proxy has ended: process {proxy.pid} gets SIGTERM, to be started again.\n"
        )
        assert proxy.process.poll() is None


@pytest.mark.in_its_time
def test_a_look_takes_less_than_a_thousandth_of_a_second():
    with proxy_of(), watching() as watch:
        looks, seconds = watch.looks(), watch.cpu_seconds()
        watch.wait_for_looks(3)
        assert (watch.cpu_seconds() - seconds) / (watch.looks() - looks) < CPU_SECONDS_A_LOOK


def test_proxy_that_reads_its_files_is_left_alone(make_stand_in):
    starting = make_stand_in()
    starting.does("bind")
    with watching() as watch:
        watch.wait_for_looks(2)
        assert starting.lives()


@pytest.mark.in_its_time  # a proxy has both of its workers within a second
def test_proxy_between_the_creation_of_its_workers_is_left_alone(make_stand_in):
    starting = make_stand_in()
    starting.does("bind", "add")
    with watching() as watch:
        starting.does("add")
        watch.wait_for_looks(2)
        assert starting.lives()


def test_proxy_that_ends_by_itself_is_left_alone(make_stand_in):
    ending = make_stand_in()
    ending.does("bind", "add", "add")
    with watching() as watch:
        ending.does("end 0")
        watch.wait_for_looks(2)
        assert ending.lives()


def test_stand_in_without_its_last_thread_is_ended(make_stand_in):
    ended = make_stand_in()
    ended.does("bind", "add", "add")
    with watching() as watch:
        ended.does("end 1")
        assert ended.process.wait(deadline_seconds()) == -signal.SIGTERM
        assert watch.line() == (
            f"The query thread of the proxy has ended: process {ended.process.pid} gets SIGTERM, to be started again.\n"
        )


def test_process_of_the_same_name_that_does_not_hold_the_port_is_left_alone(make_stand_in):
    other = make_stand_in()
    other.does("add")
    with proxy_of(), watching() as watch:
        watch.wait_for_looks(2)
        assert other.lives()


def test_process_of_another_name_on_the_port_is_left_alone(make_stand_in):
    other = make_stand_in(name="other")
    other.does("bind", "add")
    with watching() as watch:
        watch.wait_for_looks(2)
        assert other.lives()


def test_process_of_the_same_name_with_arguments_is_left_alone(make_stand_in):
    other = make_stand_in(arguments=["-"])
    other.does("bind", "add")
    with watching() as watch:
        watch.wait_for_looks(2)
        assert other.lives()


def test_proxy_is_found_beside_a_process_of_the_same_name(make_stand_in):
    with proxy_of() as proxy:
        other = make_stand_in()
        other.does("add")
        with watching() as watch:
            end_intake(proxy)
            expect_ended_by(watch, proxy)
            assert other.lives()


def test_proxy_in_another_network_is_left_alone(make_stand_in):
    """Also when it belongs to the same ordinary user, who may not look into either of them."""
    user = as_user(["+net_bind_service"])
    with proxy_of(wrapper=user) as proxy:
        other = make_stand_in(wrapper=["unshare", "-n", "sh", "-c", 'ip link set lo up; exec "$0" "$@"', *user])
        other.does("bind", "add")
        with watching(wrapper=as_user()) as watch:
            watch.wait_for_looks(2)
            assert other.lives()
            assert proxy.process.poll() is None
