"""Shell completion: the words that are offered, and the file names."""

import os
import pathlib
import shlex
import subprocess

import pytest
from terminal import Terminal

import ctl
import names_files

COMPLETION = ctl.REPOSITORY / "companion" / "completion"
BASH = COMPLETION / "dns_proxy_ctl.bash"


def offered_by_bash(line):
    """What bash would offer for the last word of `line`."""
    words = line.split(" ")
    script = (
        f"source {shlex.quote(str(BASH))}\n"
        f"COMP_WORDS=({' '.join(shlex.quote(word) for word in words)}); COMP_CWORD={len(words) - 1}\n"
        '_dns_proxy_ctl; echo "${COMPREPLY[*]}"'
    )
    path = f"{pathlib.Path(ctl.ctl_path()).parent}:{os.environ['PATH']}"
    result = subprocess.run(
        ["bash", "--norc", "-c", script],
        stdout=subprocess.PIPE,
        encoding="ascii",
        check=True,
        env=os.environ | {"PATH": path},
    )
    return result.stdout.split()


@pytest.mark.parametrize(
    ("line", "words"),
    [
        ("dns_proxy_ctl ", ["check", "probe", "trace", "watch", "guard", "on", "off", "upstream", "status", "name", "list", "--help", "--version"]),
        ("dns_proxy_ctl c", ["check"]),
        ("dns_proxy_ctl --v", ["--version"]),
        ("dns_proxy_ctl check ", ["--dns", "--hostmap", "--strict", "--start", "--json", "--help"]),
        ("dns_proxy_ctl check --strict --j", ["--json"]),
        ("dns_proxy_ctl check --dns ", []),
        ("dns_proxy_ctl probe --", ["--timeout", "--upstreams", "--help"]),
        ("dns_proxy_ctl probe --timeout 5", ["5000"]),
        ("dns_proxy_ctl trace ", []),
        ("dns_proxy_ctl trace -", ["--follow", "--json", "--help"]),
        ("dns_proxy_ctl watch ", ["--help"]),
        ("dns_proxy_ctl on ", ["--keep", "--help"]),
        ("dns_proxy_ctl off ", ["--help"]),
        ("dns_proxy_ctl guard --", ["--remove", "--help"]),
        ("dns_proxy_ctl status ", ["--json", "--help"]),
        ("dns_proxy_ctl name ", ["add", "remove", "list", "explain", "apply", "import", "--help"]),
        ("dns_proxy_ctl name list ", ["--help"]),
        ("dns_proxy_ctl list ", ["add", "remove", "show", "--help"]),
        ("dns_proxy_ctl list add ", []),
        ("dns_proxy_ctl list add --", ["--as", "--help"]),
        ("dns_proxy_ctl list add x --as 1", ["127.0.0.1"]),
    ],
)
def test_bash_offers(line, words):
    assert offered_by_bash(line) == words


def test_every_option_that_bash_offers_is_one():
    for command in ("", "check", "probe", "trace", "watch", "guard", "on", "off", "upstream", "status"):
        line = ["dns_proxy_ctl", command, "-"] if command else ["dns_proxy_ctl", "-"]
        text = ctl.run(*filter(None, [command]), "--help").stdout
        options = [word for word in offered_by_bash(" ".join(line)) if word.startswith("--")]
        assert options
        for option in options:
            assert option in text


def test_bash_offers_the_names_and_lists_that_there_are():
    names_files.write(names=b"10.0.0.1 mail.lan printer.lan\n10.0.0.2 mirror.lan\n", lists={"ads": b"", "more": b""})
    assert offered_by_bash("dns_proxy_ctl name remove m") == ["mail.lan", "mirror.lan"]
    assert offered_by_bash("dns_proxy_ctl name explain p") == ["printer.lan"]
    assert offered_by_bash("dns_proxy_ctl list remove ") == ["ads", "more"]
    names_files.start_empty()


@pytest.mark.parametrize("shell", ["bash", "zsh"])
def test_completion_at_the_keyboard(tmp_path, shell):
    (tmp_path / "my_hosts").write_text("a.lan:10.0.0.1\n")
    commands = {
        "bash": ["bash", "--norc", "-i"],
        "zsh": ["zsh", "-f", "-i"],
    }
    setup = {
        "bash": f"source {BASH}; PS1='> '; cd {tmp_path}; clear",
        "zsh": f"fpath=({COMPLETION} $fpath); autoload -U compinit; compinit -u -D; PS1='> '; cd {tmp_path}; clear",
    }
    with Terminal(commands[shell], columns=200) as terminal:
        terminal.type(setup[shell], "Enter")
        terminal.expect_screen([">"])
        terminal.type("dns_proxy_ctl ch", "Tab")
        terminal.expect_screen(["> dns_proxy_ctl check"])
        terminal.type("--ho", "Tab")
        terminal.expect_screen(["> dns_proxy_ctl check --hostmap"])
        terminal.type("my", "Tab")
        terminal.expect_screen(["> dns_proxy_ctl check --hostmap my_hosts"])
        terminal.type("C-u", "dns_proxy_ctl trace my", "Tab")
        terminal.expect_screen(["> dns_proxy_ctl trace my_hosts"])
        terminal.type("C-u", "dns_proxy_ctl name ex", "Tab")
        terminal.expect_screen(["> dns_proxy_ctl name explain"])
