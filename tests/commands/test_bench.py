"""bench/run: what it leaves alone of the machine that it measures on."""

import pathlib

import pytest

SUITE = """\
import os, pathlib, tempfile
(pathlib.Path.home() / ".history").write_text("mine")
print("temporary", tempfile.mkdtemp())
print("policy", os.path.exists("/usr/sbin/policy-rc.d"))
"""
# A machine without the file that forbids packages to start services; what is changed of it goes to memory.
OWN_SBIN = """\
mount -t tmpfs tmpfs "$STAND_INS/../memory" && mkdir "$STAND_INS/../memory/upper" "$STAND_INS/../memory/work" &&
mount -t overlay -o "lowerdir=/usr/sbin,upperdir=$STAND_INS/../memory/upper,workdir=$STAND_INS/../memory/work" \
  overlay /usr/sbin && rm -f /usr/sbin/policy-rc.d && "$@"
"""
INSTALLING = """\
case "$*" in *install*) [ ! -x /usr/sbin/policy-rc.d ] || echo "services are forbidden while packages are installed" >&2 ;; esac
"""


@pytest.fixture
def bench(checkout):
    """A bench that has nothing to build, and a suite of a few lines."""
    (checkout.top / "bench/suite/__main__.py").write_text(SUITE)
    checkout.stand_ins.with_name("memory").mkdir()
    checkout.stand_in("ninja", "exit 0")
    checkout.stand_in("dpkg-query", "echo 'install ok installed'")
    return checkout


def run(bench):
    return bench.run("bench/run", wrapper=["unshare", "--mount", "bash", "-c", OWN_SBIN, "within"])


def test_home_and_the_folder_for_temporary_files_are_its_own(bench):
    result = run(bench)
    assert result.returncode == 0, result.stdout
    assert list(bench.home.iterdir()) == []
    made = pathlib.Path(dict(line.split(" ", 1) for line in result.stdout.splitlines())["temporary"])
    assert bench.build in made.parents


def test_services_are_forbidden_no_longer_than_packages_are_installed(bench):
    bench.stand_in("dpkg-query", "exit 1")
    bench.stand_in("apt-get", INSTALLING)
    result = run(bench)
    assert result.stdout.startswith("services are forbidden while packages are installed\n"), result.stdout
    assert "\npolicy False\n" in result.stdout


def test_services_are_allowed_again_when_packages_cannot_be_installed(bench):
    bench.stand_in("dpkg-query", "exit 1")
    bench.stand_in("apt-get", "exit 100")
    after = 'bash -c \'"$@"; ls /usr/sbin/policy-rc.d\' after "$@"'
    result = bench.run("bench/run", wrapper=["unshare", "--mount", "bash", "-c", OWN_SBIN.replace('"$@"', after), "within"])
    assert "cannot access '/usr/sbin/policy-rc.d'" in result.stdout
