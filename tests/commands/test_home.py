"""Programs at a keyboard that the tests start leave the HOME of whoever runs the tests as it is."""

import hashlib
import os
import subprocess

from checkout import REPOSITORY

LONG_HISTORY = "".join(f"command {number}\n" for number in range(600))


def test_shells_of_the_completion_tests_leave_home_alone(tmp_path):
    for name in (".bash_history", ".zsh_history", ".histfile"):
        (tmp_path / name).write_text(LONG_HISTORY)
    tests = REPOSITORY / "tests/companion/test_ctl_completion.py"
    command = ["/usr/bin/python3", "-m", "pytest", "-q", "-p", "no:cacheprovider", "-k", "keyboard", tests]

    done = subprocess.run(command, env={**os.environ, "HOME": str(tmp_path)}, stdout=subprocess.PIPE, check=False)

    assert done.returncode == 0, done.stdout.decode()
    assert sorted(path.name for path in tmp_path.iterdir()) == [".bash_history", ".histfile", ".zsh_history"]
    digests = {hashlib.sha256(path.read_bytes()).hexdigest() for path in tmp_path.iterdir()}
    assert digests == {hashlib.sha256(LONG_HISTORY.encode()).hexdigest()}
