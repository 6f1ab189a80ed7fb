"""./run has the proxy that it starts guarded, unless told not to: with the real programs."""

import contextlib
import pathlib
import select
import signal
import subprocess

from checkout import CMAKE, REPOSITORY
from harness import Application, query, wait_until
from harness.namespace import replace_file
from harness.processes import threads

# Instead of a build: the programs that the checkout has.
BUILT = CMAKE.replace("    printf ", '    cp "$BUILT/$2" build/ ||\n    printf ')
MAPPED = query(0x1234, "proxy.example")
TOO_SHORT = bytes(11)
SECONDS_FOR_AN_ANSWER = 0.05


@contextlib.contextmanager
def running(checkout, tmp_path, *arguments):
    """./run in the foreground, until the proxy that takes its place answers. Yields the process."""
    checkout.stand_in("cmake", BUILT)
    resolvers = tmp_path / "resolv.conf"
    resolvers.write_text("nameserver 192.0.2.1\n")
    environment = {**checkout.environment(), "BUILT": str(REPOSITORY / "build")}
    with replace_file("/etc/resolv.conf", resolvers):
        process = subprocess.Popen(
            ["./run", *arguments], cwd=checkout.top, env=environment,
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
        )  # fmt: skip
        try:
            wait_until(lambda: is_answered() or process.poll() is not None, "the proxy's answer")
            wait_until(lambda: at_work_in(checkout.top) == {process.pid}, "the end of what ./run leaves beside the proxy")
            yield process
            assert process.poll() is None
        finally:
            process.send_signal(signal.SIGKILL)
            process.wait()


def at_work_in(folder):
    """The processes whose working directory this is."""
    found = set()
    for link in pathlib.Path("/proc").glob("[0-9]*/cwd"):
        with contextlib.suppress(OSError):
            if link.readlink() == folder:
                found.add(int(link.parent.name))
    return found


def is_answered():
    with Application() as application:
        with contextlib.suppress(ConnectionRefusedError):
            application.send(MAPPED)
            if select.select([application.socket], [], [], SECONDS_FOR_AN_ANSWER)[0]:
                return application.receive()[-4:] == bytes([10, 0, 0, 1])
    return False


def guard_row(checkout):
    done = subprocess.run([checkout.build / "dns_proxy_ctl", "status"], capture_output=True, text=True, check=False)
    return [line.split() for line in done.stdout.splitlines() if line.startswith("guard ")]


def test_the_proxy_is_guarded(checkout, tmp_path):
    with running(checkout, tmp_path) as proxy:
        assert guard_row(checkout) == [["guard", "on"]]
        with Application() as application:
            application.send(TOO_SHORT)
        wait_until(is_answered, "an answer behind it")
        assert len(threads(proxy.pid)) == 3


def test_the_proxy_is_not_guarded_when_that_is_not_wanted(checkout, tmp_path):
    with running(checkout, tmp_path, "--no-guard") as proxy:
        with Application() as application:
            application.send(TOO_SHORT)
        wait_until(lambda: len(threads(proxy.pid)) == 2, "the end of the intake")
