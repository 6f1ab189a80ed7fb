"""What tests leave alone that is not theirs: the HOME of whoever runs them, the permissions of folders for all."""

import hashlib
import os
import pathlib
import stat
import subprocess
import tempfile

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


def test_folder_for_temporary_files_keeps_its_permissions():
    """Also where tests let another user pass to files of theirs."""
    tests = REPOSITORY / "tests/companion"
    files = [tests / f"test_ctl_{name}.py" for name in ("check_files", "trace_files", "watch", "status_servers")]
    expression = "may_not_be_read or both_workers_live or ordinary_user"
    command = ["/usr/bin/python3", "-m", "pytest", "-q", "-p", "no:cacheprovider", "-k", expression, *files]
    with tempfile.TemporaryDirectory() as name:
        shared = pathlib.Path(name) / "shared"
        shared.mkdir()
        shared.chmod(0o1777)
        shared.parent.chmod(0o711)

        done = subprocess.run(command, env={**os.environ, "TMPDIR": str(shared)}, stdout=subprocess.PIPE, check=False)

        assert done.returncode == 0, done.stdout.decode()
        assert [stat.S_IMODE(path.stat().st_mode) for path in (shared, shared.parent)] == [0o1777, 0o711]
