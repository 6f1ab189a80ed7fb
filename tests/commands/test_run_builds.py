"""./run starts what it has built, and nothing else."""

import os

from checkout import FAILING_CMAKE, OFF_LINE

ORDINARY_USER = ["setpriv", "--reuid=12345", "--regid=12345", "--clear-groups"]
READ_ONLY = ["unshare", "--mount", "bash", "-c", 'mount --bind -o ro . . && cd "$PWD" && exec "$@"', "read_only"]


def test_what_was_built_is_started_and_the_companion_is_named(checkout):
    result = checkout.run("./run")

    assert result.returncode == 0, result.stdout
    assert result.stdout.endswith("run: starting on 127.0.0.1:53\ndns_proxy_mac was started\n")
    assert f"run: built {checkout.build}/dns_proxy_ctl: 'build/dns_proxy_ctl --help' says" in result.stdout


def test_old_program_is_not_started_after_a_failed_build(checkout):
    checkout.old_program()
    checkout.stand_in("cmake", FAILING_CMAKE)

    result = checkout.run("./run")

    assert result.returncode == 1
    assert "local_query_intake.cpp:1: error: #error\n" in result.stdout
    assert result.stdout.endswith("run: the build failed, so nothing is started; build/run.log says why\n")


def test_old_program_is_not_started_from_a_read_only_checkout(checkout):
    checkout.old_program()

    result = checkout.run("./run", wrapper=READ_ONLY)

    assert result.returncode == 1
    assert result.stdout == "run: build/ cannot be written to: it is read-only\n"


def test_old_program_is_not_started_when_the_build_folder_belongs_to_another(checkout):
    checkout.old_program()
    checkout.stand_in("sudo", '"$@"')

    result = checkout.run("./run", wrapper=ORDINARY_USER)

    assert result.returncode == 1
    assert result.stdout.startswith("run: build/ belongs to root, and you cannot write there: remove it or make it")
    assert result.stdout.count("\n") == 1


def test_help_says_what_it_does_and_does_nothing(checkout):
    result = checkout.run("./run", "--help")

    assert result.returncode == 0
    assert result.stdout.startswith("./run: builds the proxy, and dns_proxy_ctl beside it, and starts the proxy")
    assert checkout.asked_of_cmake() == []


def test_argument_that_is_none_is_refused(checkout):
    result = checkout.run("./run", "--port=54")
    assert (result.returncode, result.stdout) == (1, "run: it takes no arguments but --no-guard and --help\n")


def test_symbolic_link_leads_to_the_checkout(checkout):
    link = checkout.home / "start_dns"
    os.symlink(checkout.top / "run", link)
    again = checkout.home / "again"
    os.symlink("start_dns", again)

    result = checkout.run(again, cwd=checkout.home)

    assert result.returncode == 0, result.stdout
    assert result.stdout.endswith("dns_proxy_mac was started\n")


def test_checkout_that_was_moved_is_configured_anew(checkout):
    checkout.build.mkdir()
    cache = checkout.build / "CMakeCache.txt"
    cache.write_text("CMAKE_HOME_DIRECTORY:INTERNAL=/where/it/was\nOLD:INTERNAL=1\n")

    result = checkout.run("./run")

    assert result.returncode == 0, result.stdout
    assert "OLD" not in cache.read_text()


def test_off_line_without_the_library_and_dig_the_proxy_is_started(checkout):
    checkout.stand_in("apt-get", OFF_LINE)
    hide = ["unshare", "--mount", "bash", "-c", 'mount -t tmpfs tmpfs /usr/include/CLI && exec "$@"', "hide"]

    result = checkout.run("./run", path=checkout.without("dig"), wrapper=hide)

    assert result.returncode == 0, result.stdout
    said = "run: bind9-dnsutils libcli11-dev could not be installed (off line?): going on without\n"
    assert said in result.stdout
    assert result.stdout.endswith("dns_proxy_mac was started\n")


def test_off_line_without_a_compiler_it_says_what_is_missing(checkout):
    checkout.stand_in("apt-get", OFF_LINE)
    checkout.stand_in("sleep", "exit 0")

    result = checkout.run("./run", path=checkout.without("c++"))

    assert result.returncode == 1
    assert result.stdout.endswith("run: g++, cmake and make are needed and could not be installed (off line?)\n")
