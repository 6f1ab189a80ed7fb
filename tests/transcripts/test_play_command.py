"""Bad input to the player ends in one sentence that names file and line, and a status that is not zero."""

import os
import pathlib
import subprocess

import pytest

COMMAND = str(pathlib.Path(__file__).with_name("play.py"))
GOOD = pathlib.Path(__file__).with_name("nothing_configured.txt")
PYTHON = "/usr/bin/python3"
WITHOUT_NAMESPACES = ["setpriv", "--bounding-set", "-sys_admin", "--inh-caps", "-all", "--"]


def run(*arguments, wrapper=(), **environment):
    finished = subprocess.run(
        [*wrapper, PYTHON, COMMAND, *map(str, arguments)],
        env={**os.environ, **environment},
        capture_output=True,
        text=True,
        check=False,
    )
    return finished.returncode, finished.stdout, finished.stderr


@pytest.mark.parametrize(
    "content, line, sentence",
    [
        ("wait 5\nexpect no exit\n", 1, "unknown statement 'wait'"),
        ("# talk\nexpect silence\n", 2, "unknown statement 'expect silence'"),
        ("file hosts a:b\n", 1, "'file' needs 'dns' or 'hostmap' and the line's text"),
        ("  00 11\n", 1, "there is no statement above that this line could go on with"),
        ("send 127.0.0.1:1 00\nport taken\n", 2, "'port taken' comes after the start"),
        ("send 127.0.0.1:1 00\nfile dns 127.0.0.2\n", 2, "a 'file' line comes after the start"),
        ("send 127.0.0.1:1 0g\n", 1, "'0g' are no bytes in hex"),
        ("send 127.0.0.1:1\n  00 11\n  2\n", 1, "'00 11 2' are no bytes in hex"),
        ("send 127.0.0.1:1 00*x\n", 1, "'00*x' are no bytes in hex"),
        ("send 127.0.0.1:1 00*999999\n", 1, "'00*999999' are no bytes in hex"),
        ("send 127.0.0.1 00\n", 1, "127.0.0.1:53 is the proxy itself"),
        ("send 127.0.0.256 00\n", 1, "'127.0.0.256' is no address"),
        ("send somebody 00\n", 1, "'somebody' is no address"),
        ("send 127.0.0.1:x 00\n", 1, "'127.0.0.1:x' has no port number"),
        ("expect exit soon\n", 1, "unknown statement 'expect exit soon'"),
        ("expect exit 0\nsend 127.0.0.1:1 00\n", 2, "a statement follows the end"),
        ("file dns 127.0.0.2\n", 1, "the transcript does not end with 'expect exit' or 'expect no exit'"),
        ("", 1, "the transcript does not end with 'expect exit' or 'expect no exit'"),
    ],
)
def test_a_bad_transcript(tmp_path, content, line, sentence):
    path = tmp_path / "talk.txt"
    path.write_text(content)
    assert run(path) == (2, "", f"{path}:{line}: {sentence}.\n")


def test_one_bad_transcript_plays_none(tmp_path):
    path = tmp_path / "talk.txt"
    path.write_text("wait 5\n")
    assert run(GOOD, path)[:2] == (2, "")


def test_a_missing_transcript(tmp_path):
    path = tmp_path / "none.txt"
    assert run(path) == (2, "", f"{path}:1: the file cannot be read: No such file or directory.\n")


def test_a_server_that_is_the_proxy_itself(tmp_path, private_network):
    path = tmp_path / "talk.txt"
    path.write_text(
        "file dns 127.0.0.1\n"
        "expect trace read dns: 127.0.0.1\n"
        "expect trace dnsproxy: dns_size:1, hostmap_size:0\n"
        "expect trace func: StartDnsSrv(line:118) bind 127.0.0.1:53 success\n"
        "expect trace func: StartDnsSrv(line:136) Add KQ DNS to list: 127.0.0.1\n"
        "expect trace func: StartDnsSrv(line:154) pthread_create g_thread_answer success\n"
        "expect trace func: StartDnsSrv(line:161) pthread_create thread_query success\n"
        "send 127.0.0.1:20001 1234 0100 0001 0000 0000 0000 0161 00 0001 0001\n"
        "expect no exit\n"
    )
    assert run(path) == (2, "", f"{path}:8: the proxy would ask itself at 127.0.0.1 without an end.\n")


def test_an_action_after_the_end(tmp_path, private_network):
    path = tmp_path / "talk.txt"
    path.write_text(GOOD.read_text().replace("expect exit 0", "send 127.0.0.1:1 00\nexpect exit 0"))
    assert run(path) == (1, "", f"{path}:8: model: the process has ended before this\n")


def test_bad_arguments():
    assert run("--unknown") == (2, "", "play.py: unrecognized arguments: --unknown.\n")


def test_a_deadline_that_is_no_number():
    sentence = "DNS_PROXY_DEADLINE is a number of seconds, not 'soon'.\n"
    assert run(GOOD, DNS_PROXY_DEADLINE="soon") == (2, "", sentence)


def test_a_missing_program():
    assert run(GOOD, DNS_PROXY_BINARY="/nonexistent/dns_proxy_mac") == (
        2,
        "",
        "There is no program at /nonexistent/dns_proxy_mac: build it, or name another in DNS_PROXY_BINARY.\n",
    )


def test_a_program_that_is_a_folder():
    status, printed, sentence = run(GOOD, DNS_PROXY_BINARY="/tmp")
    assert (status, printed) == (2, "")
    assert sentence == "There is no program at /tmp: build it, or name another in DNS_PROXY_BINARY.\n"


def test_a_program_that_cannot_be_executed(tmp_path, private_network):
    path = tmp_path / "text"
    path.write_text("no program\n")
    path.chmod(0o755)
    assert run(GOOD, DNS_PROXY_BINARY=path) == (2, "", f"{path} cannot be started: Exec format error.\n")


def test_no_permission_for_namespaces(private_network):
    status, printed, sentence = run(GOOD, wrapper=WITHOUT_NAMESPACES)
    assert (status, printed) == (2, "")
    assert sentence.startswith("A network and mount namespace is needed for these tests: unshare")
    assert sentence.count("\n") == 1


def test_a_difference_is_told_for_each_transcript(private_network):
    status, printed, sentences = run(GOOD, GOOD, DNS_PROXY_BINARY="/bin/true")
    assert (status, printed) == (1, "")
    assert sentences.count(f"{GOOD}:4: program: printed b'', expected b'read hostmap: :10.0.0.1'\n") == 2


def test_good_transcripts_are_named(private_network):
    assert run(GOOD) == (0, f"{GOOD}: as written\n", "")
