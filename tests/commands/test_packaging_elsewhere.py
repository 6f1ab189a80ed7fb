"""The packaging tests where a system cannot be booted: one sentence for each, and nothing is left."""

import os
import re
import subprocess

import pytest

from checkout import REPOSITORY

# Every mount of control groups of version 2 goes, in a mount namespace of its own.
WITHOUT_CONTROL_GROUPS = """\
while read -r _ place kind _; do [ "$kind" != cgroup2 ] || umount -l "$place"; done </proc/mounts
exec "$@"
"""
# As a system inside a folder that is a mount, whose namespace has another root.
IN_A_CHANGED_ROOT = """\
mkdir "$TMPDIR/root"
mount --rbind / "$TMPDIR/root"
exec chroot "$TMPDIR/root" "$@"
"""
# As those who build packages do it: what the kernel shows, but no control groups.
IN_A_PLAIN_CHROOT = """\
root=$TMPDIR/root
mkdir "$root"
mount --bind / "$root"
mount -t proc proc "$root/proc"
mount -t sysfs sysfs "$root/sys"
mount --bind /dev "$root/dev"
mount --bind "$TMPDIR" "$root/$TMPDIR"
exec chroot "$root" "$@"
"""
COMMANDS_IN_A_COPY = """\
import pathlib, subprocess, sys
sys.path[:0] = [sys.argv[1] + "/tests/packaging", sys.argv[1] + "/tests"]
import harness
harness.enter()
import system_copy
with system_copy.SystemCopy() as system:
    system.put("/only_in_the_copy", "seen")
    started = subprocess.Popen([system_copy.ENTER, system.root, system._cgroup, "sleep", "1000"])
    children = pathlib.Path(f"/proc/{started.pid}/task/{started.pid}/children")
    harness.wait_until(lambda: system_copy._name_of((children.read_text().split() or [0])[0]) == "sleep", "the start")
    system._starter, system._init = started, int(children.read_text())
    print(system.run("pwd"), system.run("cat", "/only_in_the_copy"))
"""


def run_within(script, folder, *command):
    """A command in a mount namespace that the script prepares, with its temporary files in a folder of its own."""
    folder.mkdir()
    return subprocess.run(
        ["unshare", "--mount", "bash", "-c", script, "within", *map(str, command)],
        env={**os.environ, "TMPDIR": str(folder), "PYTEST_DEBUG_TEMPROOT": str(folder.parent)}, cwd="/",
        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, encoding="utf-8", check=False,
    )  # fmt: skip


@pytest.mark.parametrize("script", [WITHOUT_CONTROL_GROUPS, IN_A_PLAIN_CHROOT], ids=["a machine", "a plain chroot"])
def test_without_control_groups_of_version_2_each_ends_in_one_sentence(tmp_path, script):
    command = ["/usr/bin/python3", "-m", "pytest", "-q", "-p", "no:cacheprovider"]
    tests = [REPOSITORY / f"tests/packaging/test_booted_{name}.py" for name in ("service", "guard")]
    result = run_within(script, tmp_path / "temporary", *command, *tests)

    assert result.returncode == 1
    sentence = "\nA system cannot be booted here: there are no control groups of version 2.\n"
    assert result.stdout.count(sentence) == int(re.search(r"^(\d+) errors in", result.stdout, re.MULTILINE)[1])
    assert not re.search("Traceback|StopIteration|another exception", result.stdout)
    assert [path for path in (tmp_path / "temporary").iterdir() if path.name != "root"] == []


def test_commands_reach_the_copy_and_not_the_root_of_the_machine(tmp_path):
    command = ["/usr/bin/python3", "-c", COMMANDS_IN_A_COPY, REPOSITORY]
    result = run_within(IN_A_CHANGED_ROOT, tmp_path / "temporary", *command)
    assert (result.returncode, result.stdout) == (0, "/\n seen\n"), result.stdout
