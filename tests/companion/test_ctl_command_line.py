"""The command line itself: help, version, mistakes, and the exit statuses that all commands share."""

import subprocess

import pytest

import ctl

COMMANDS = ["check", "probe", "trace", "watch", "guard", "on", "off", "upstream", "status", "name", "list"]


def test_version():
    result = ctl.run("--version")
    assert result.stdout == "dns_proxy_ctl 1.0.0\n"
    assert result.returncode == 0


def test_help_names_every_command():
    result = ctl.run("--help")
    assert result.returncode == 0
    assert [line.split()[0] for line in result.stdout.splitlines() if line[:2] == "  " and line[2] != "-"] == COMMANDS


@pytest.mark.parametrize("command", COMMANDS)
def test_help_of_a_command_tells_its_exit_status_and_fits_a_terminal(command):
    result = ctl.run(command, "--help")
    assert result.stdout.splitlines()[1].startswith(f"Usage: dns_proxy_ctl {command} [OPTIONS]")
    assert "Exit status: " in result.stdout
    assert max(map(len, result.stdout.splitlines())) <= 80
    assert result.stderr == ""
    assert result.returncode == 0


@pytest.mark.parametrize(
    ("arguments", "sentence"),
    [
        ([], "A subcommand is required; see --help."),
        (["bogus"], "There is no command 'bogus'; see --help."),
        (["b\x1bgus", "--help"], "There is no command 'b\\027gus'; see --help."),
        (["check", "--no-such"], "The following argument was not expected: --no-such; see --help."),
        (["check", "file"], "The following argument was not expected: file; see --help."),
        (["check", "--dns"], "--dns: 1 required FILE missing; see --help."),
        (["probe", "--timeout", "0"], "--timeout: Value 0 not in range 1 to 600000; see --help."),
        (["probe", "--timeout", "600001"], "--timeout: Value 600001 not in range 1 to 600000; see --help."),
        (["probe", "--timeout", "soon"], "--timeout: Value soon not in range 1 to 600000; see --help."),
        (["trace", "one", "two"], "The following argument was not expected: two; see --help."),
        (["status", "check"], "The following argument was not expected: check; see --help."),
        (["watch", "1"], "The following argument was not expected: 1; see --help."),
    ],
)
def test_wrong_command_line(arguments, sentence):
    result = ctl.run(*arguments)
    assert result.stderr == f"dns_proxy_ctl: {sentence}\n"
    assert result.stdout == ""
    assert result.returncode == 64


def test_memory_that_the_system_refuses(tmp_path):
    with open(tmp_path / "dns", "wb") as file:
        file.truncate(1 << 30)
    limit = ["prlimit", f"--as={256 << 20}", "--"]
    result = ctl.run("check", "--dns", tmp_path / "dns", "--hostmap", "/dev/null", wrapper=limit)
    assert result.stderr == "dns_proxy_ctl: There is not enough memory.\n"
    assert result.returncode == 71


@pytest.mark.parametrize("command", [["check"], ["probe"], ["status"], ["--help"]])
def test_results_that_can_not_be_written(command):
    with open("/dev/full", "wb") as full:
        result = subprocess.run([ctl.ctl_path(), *command], stdout=full, stderr=subprocess.PIPE, check=False)
    assert result.stderr == b"dns_proxy_ctl: The results could not be written: No space left on device.\n"
    assert result.returncode == 74
