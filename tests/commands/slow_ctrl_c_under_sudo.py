"""Ctrl-C at a terminal of an unprivileged user, with Debian's own sudo: `sudo ./test STEP`, and `./test STEP`, which
asks for privileges itself. In a copy of this machine's system, with sudo installed there. By hand, with the package:
apt-get download sudo
DNS_PROXY_SUDO_PACKAGE=$PWD/sudo_*.deb /usr/bin/python3 -m pytest tests/commands/slow_ctrl_c_under_sudo.py
"""

import json
import os
import pathlib
import shutil
import sys

import pytest

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
for folder in ("tests", "tests/packaging"):
    sys.path.insert(0, str(REPOSITORY / folder))

from system_copy import SystemCopy  # noqa: E402  (found through the lines above)

from checkout import LEFT_OUT, NOTHING_TO_INSTALL  # noqa: E402
from test_test_end import STUBBORN  # noqa: E402

PASSWORD = "correct horse"
TOP = "/home/someone/checkout"
STEP = STUBBORN.replace('script.parents[1] / "build"', 'pathlib.Path("build").resolve()')

# Types at a terminal as the user "someone"; runs inside the copy, as root.
TYPIST = """\
import json, os, pathlib, pty, pwd, select, subprocess, sys, time

command, password, top, deadline = sys.argv[1].split(), sys.argv[2], sys.argv[3], float(sys.argv[4])
user = pwd.getpwnam("someone")
started = pathlib.Path(top, "build/layers.started")


def all_processes():
    return [
        (folder.name, folder.joinpath("cmdline").read_bytes().replace(b"\\0", b" ").decode())
        for folder in pathlib.Path("/proc").iterdir() if folder.name.isdigit() and int(folder.name) != os.getpid()
    ]


def files():
    return {
        str(path): path.lstat().st_uid
        for folder in (top, user.pw_dir, "/tmp") for path in pathlib.Path(folder).rglob("*")
    }


# The machine's own may change meanwhile.
subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=1777", "tmpfs", "/tmp"], check=True)
mounts = pathlib.Path("/proc/self/mounts").read_text()
before = files()
pid, terminal = pty.fork()
if pid == 0:
    os.initgroups(user.pw_name, user.pw_gid)
    os.setgid(user.pw_gid)
    os.setuid(user.pw_uid)
    os.chdir(top)
    kept = {"HOME": user.pw_dir, "PATH": os.environ["PATH"]}
    os.execvpe(command[0], command, {**kept, "LC_ALL": "C.UTF-8", "TERM": "xterm", "USER": "someone"})
shown, typed, interrupted, pressed, end = b"", False, False, None, time.monotonic() + deadline
while time.monotonic() < end:
    if select.select([terminal], [], [], 0.05)[0]:
        try:
            shown += os.read(terminal, 4096)
        except OSError:
            break
    elif b"assword" in shown and not password:
        os.write(terminal, b"\\x03")  # again: sudo does not hear it in the first moment
        typed, interrupted, pressed = True, True, pressed or time.monotonic()
    if password and b"assword" in shown and not typed:
        os.write(terminal, password.encode() + b"\\n")
        typed = True
    if started.exists() and b"running layers" in shown and not interrupted:
        os.write(terminal, b"\\x03")
        interrupted, pressed = True, time.monotonic()
seconds = time.monotonic() - pressed if pressed else None
status = os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1]) if time.monotonic() < end else "no end"
after = files()
print("RESULT " + json.dumps({
    "shown": shown.decode(), "status": status, "asked": typed, "seconds": seconds,
    "processes": [entry for entry in all_processes() if any(text in entry[1] for text in (top, "4000.25", "sudo "))],
    "mounts": pathlib.Path("/proc/self/mounts").read_text() != mounts,
    "of root": [path for path, owner in after.items() if owner == 0 and before.get(path) != 0],
    "new outside": [path for path in after if path not in before and not path.startswith(top + "/build")],
}))
"""


@pytest.fixture(scope="session")
def sudo_package():
    """The tests' own network reaches no archive."""
    named = os.environ.get("DNS_PROXY_SUDO_PACKAGE")
    found = [named] if named else sorted(pathlib.Path("/var/cache/apt/archives").glob("sudo_*.deb"))
    if not found:
        pytest.fail("sudo's package is needed: apt-get download sudo, then name it in DNS_PROXY_SUDO_PACKAGE")
    return found[-1]


@pytest.fixture
def system(sudo_package):
    """A copy with sudo, a user who may use it, and a checkout of that user's."""
    with SystemCopy() as copy:
        copy.run("dpkg", "--install", copy.take(sudo_package))
        copy.run("useradd", "--create-home", "--shell", "/bin/bash", "someone")
        copy.put("/someone", f"someone:{PASSWORD}\n")
        copy.run("sh", "-c", "chpasswd </someone")
        shutil.copytree(REPOSITORY, copy.file(TOP), ignore=LEFT_OUT, symlinks=True)
        copy.put(f"{TOP}/tests/layers.py", STEP)
        copy.put("/usr/local/bin/apt-get", f"#!/bin/bash\n{NOTHING_TO_INSTALL}\n")
        copy.run("chmod", "755", "/usr/local/bin/apt-get")
        copy.run("chown", "-R", "someone:", "/home/someone")
        copy.put("/typist.py", TYPIST)
        yield copy


@pytest.mark.parametrize("terminal", ["use_pty", "!use_pty"])
@pytest.mark.parametrize("asks", ["", "NOPASSWD:"], ids=["with a password", "without"])
@pytest.mark.parametrize("command", ["sudo ./test layers", "./test layers"])
def test_ctrl_c_ends_it_at_once_with_one_line_and_leaves_nothing(system, command, asks, terminal):
    system.put("/etc/sudoers.d/someone", f"Defaults {terminal}\nsomeone ALL=(ALL) {asks} ALL\n")
    system.run("chmod", "440", "/etc/sudoers.d/someone")
    said = system.run("/usr/bin/python3", "/typist.py", command, PASSWORD, TOP, "120")
    result = json.loads(said.split("RESULT ")[-1])
    print(command, asks, terminal, result)
    assert result["asked"] == (asks == "")
    assert result["status"] == 130
    lines = result["shown"].replace("^C", "").replace("\r\n", "\n").split("\n")
    assert lines[-2:] == ["running layers\rtest: ended by Ctrl-C while layers was running", ""]
    assert lines[:-2] == (["[sudo] password for someone: "] if asks == "" else [])
    assert (result["processes"], result["mounts"], result["of root"], result["new outside"]) == ([], False, [], [])
    assert result["seconds"] < 10


def test_ctrl_c_where_the_password_is_asked_for_ends_it(system):
    system.put("/etc/sudoers.d/someone", "someone ALL=(ALL) ALL\n")
    system.run("chmod", "440", "/etc/sudoers.d/someone")
    said = system.run("/usr/bin/python3", "/typist.py", "./test layers", "", TOP, "120")
    result = json.loads(said.split("RESULT ")[-1])
    print(result)
    assert result["status"] == 130
    assert result["shown"].endswith("\rtest: ended by Ctrl-C\r\n")
    assert "needed" not in result["shown"]
    assert (result["processes"], result["mounts"], result["of root"], result["new outside"]) == ([], False, [], [])
    assert result["seconds"] < 10
