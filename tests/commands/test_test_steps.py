"""./test: each step builds what it tests; what a run leaves, and what it does not touch."""

import hashlib
import os
import pathlib
import re
import subprocess

import pytest

from checkout import CMAKE, FAILING_CMAKE, REPOSITORY

PASSING_TESTS = "def test_the_program():\n    pass\n"
STEPS_THAT_TEST_A_PROGRAM = ["e2e", "model", "e2e-asan", "companion", "stress-asan", "unit"]


def trivial(checkout, *folders):
    """The tests in these folders become one that passes."""
    for folder in folders:
        for file in (checkout.top / folder).glob("*.py"):
            file.unlink()
        (checkout.top / folder / f"test_{pathlib.Path(folder).name}.py").write_text(PASSING_TESTS)


def script(checkout, path, text):
    """The step that runs this file of the checkout runs these lines of Python instead."""
    (checkout.top / path).write_text(text)


def stat_of(folder):
    """Every file below the folder with its owner, permissions and checksum."""
    found = {}
    for path in sorted(folder.rglob("*")):
        about = path.lstat()
        content = hashlib.sha256(path.read_bytes()).hexdigest() if path.is_file() else None
        found[path] = (about.st_uid, about.st_gid, about.st_mode, content)
    return found


@pytest.mark.parametrize("step", STEPS_THAT_TEST_A_PROGRAM)
def test_step_whose_program_cannot_be_built_fails(checkout, step):
    trivial(checkout, "tests/e2e", "tests/model", "tests/transcripts", "tests/companion")
    checkout.old_program()
    checkout.old_program("dns_proxy_ctl")
    checkout.stand_in("cmake", FAILING_CMAKE)

    result = checkout.run("./test", step)

    assert result.returncode == 1, result.stdout
    assert f"FAILED  {step} " in result.stdout
    assert "local_query_intake.cpp:1: error: #error" in result.stdout
    assert result.stdout.endswith("\n0 passed, 1 failed\n")


def test_step_builds_only_what_it_tests(checkout):
    trivial(checkout, "tests/e2e")

    result = checkout.run("./test", "e2e")

    assert result.returncode == 0, result.stdout
    assert len(checkout.asked_of_cmake()) == 2
    assert re.search(r"--target dns_proxy_mac$", checkout.asked_of_cmake()[1])


def test_build_folder_of_a_checkout_that_was_moved_is_configured_anew(checkout):
    trivial(checkout, "tests/e2e")
    checkout.build.mkdir()
    (checkout.build / "CMakeCache.txt").write_text("CMAKE_HOME_DIRECTORY:INTERNAL=/where/it/was\n")

    result = checkout.run("./test", "e2e")

    assert result.returncode == 0, result.stdout
    assert str(checkout.top) in (checkout.build / "CMakeCache.txt").read_text()


def test_symbolic_link_leads_to_the_checkout(checkout):
    link = checkout.home / "check"
    os.symlink(checkout.top / "test", link)
    result = checkout.run(link, "layers", cwd=checkout.home)
    assert result.stdout.endswith("\n1 passed, 0 failed\n")


def test_run_names_the_step_that_is_running(checkout):
    result = checkout.run("./test", "layers", "messages")
    assert re.sub(r" +\d+ s", "", result.stdout) == (
        "running layers\nok      layers\nrunning messages\nok      messages\n2 passed, 0 failed\n"
    )


def test_home_and_logs_are_as_before_a_run(checkout):
    (checkout.home / ".bash_history").write_text("kept\n")
    logs = pathlib.Path("/var/log")
    (logs / "kept").write_text("kept\n")
    before = stat_of(checkout.home), stat_of(logs)

    result = checkout.run("./test", "layers", "messages", "format")

    assert result.stdout.endswith("\n3 passed, 0 failed\n"), result.stdout
    assert (stat_of(checkout.home), stat_of(logs)) == before
    (logs / "kept").unlink()


def test_step_that_writes_below_home_or_the_logs_fails_and_changes_nothing(checkout):
    history = checkout.home / ".bash_history"
    history.write_text("kept\n")
    writing = f"open('{history}', 'a').write('more')\nopen('/var/log/new', 'w').write('more')\n"
    script(checkout, "tests/layers.py", writing)

    result = checkout.run("./test", "layers")

    assert result.returncode == 1
    assert f"contained: touched from inside: {history}\n" in result.stdout
    assert "contained: touched from inside: /var/log/new\n" in result.stdout
    assert history.read_text() == "kept\n"
    assert not pathlib.Path("/var/log/new").exists()


def test_programs_of_a_step_have_a_home_of_their_own(checkout):
    script(checkout, "tests/layers.py", "import pathlib\n(pathlib.Path.home() / '.history').write_text('mine')\n")

    result = checkout.run("./test", "layers")

    assert result.stdout.endswith("\n1 passed, 0 failed\n"), result.stdout
    assert list(checkout.home.iterdir()) == []


def test_temporary_files_of_a_step_are_gone_with_the_run(checkout):
    script(checkout, "tests/layers.py", "import tempfile\nprint(tempfile.mkdtemp())\n")

    checkout.run("./test", "layers")

    made = pathlib.Path((checkout.build / "test-logs/layers.log").read_text().strip())
    assert made.name.startswith("tmp")
    assert not made.exists()
    assert not made.parent.parent.exists()


def test_nothing_of_root_stays_in_the_tree_of_another(checkout):
    trivial(checkout, "tests/e2e")
    script(checkout, "tests/layers.py", "import os\nos.makedirs('tools/workflows/node_modules/made')\n")
    for path in [checkout.top, *checkout.top.rglob("*")]:
        os.lchown(path, 12345, 12345)

    result = checkout.run("./test", "e2e", "layers")

    assert result.stdout.endswith("\n2 passed, 0 failed\n"), result.stdout
    assert (checkout.top / "tools/workflows/node_modules/made").exists()
    assert [path for path in checkout.top.rglob("*") if path.lstat().st_uid == 0] == []


def test_build_folder_of_another_gets_one_sentence(checkout):
    checkout.build.mkdir()
    checkout.stand_in("sudo", '"$@"')

    result = checkout.run("./test", "layers", wrapper=["setpriv", "--reuid=12345", "--regid=12345", "--clear-groups"])

    assert result.returncode == 1
    assert result.stdout == (
        "test: build/ belongs to root, and you cannot write there: remove it or make it yours, for example: "
        "sudo chown -R 12345 build\n"
    )


def test_name_that_is_no_step_is_refused(checkout):
    result = checkout.run("./test", "e3e")
    assert (result.returncode, result.stdout) == (1, "test: there is no step 'e3e': see ./test list\n")


# A step that ends when the file of the other one is there, and makes its own.
MEETING = """\
import pathlib, sys, time
mine, other = (pathlib.Path("build") / name for name in {names})
mine.touch()
end = time.monotonic() + 60
while not other.exists() and time.monotonic() < end:
    time.sleep(0.01)
sys.exit(not other.exists())
"""


def meeting(checkout):
    """The steps `layers` and `messages` can only pass side by side."""
    script(checkout, "tests/layers.py", MEETING.format(names=["layers.there", "messages.there"]))
    script(checkout, "tests/messages.py", MEETING.format(names=["messages.there", "layers.there"]))


def test_steps_run_side_by_side_when_there_are_lanes(checkout):
    meeting(checkout)
    result = checkout.run("./test", "--lanes=2", "layers", "messages")
    assert result.stdout.startswith("running layers\nrunning messages\nok      "), result.stdout
    assert result.stdout.endswith("\n2 passed, 0 failed\n")


def test_failure_beside_other_steps_is_told_and_counted(checkout):
    script(checkout, "tests/layers.py", "import sys\nprint('the reason')\nsys.exit(1)\n")
    result = checkout.run("./test", "--lanes=3", "layers", "messages", "format")
    assert result.returncode == 1
    assert re.search(r"^FAILED  layers +\d+ s, the end of build/test-logs/layers.log:\nthe reason\n", result.stdout, re.MULTILINE)
    assert result.stdout.endswith("\n2 passed, 1 failed\n")


def test_what_tests_a_build_waits_for_the_step_that_makes_it(checkout):
    trivial(checkout, "tests/e2e", "tests/model")
    checkout.stand_in("cmake", f'case $1 in --build) sleep 0.5 ;; esac\n{CMAKE}')
    result = checkout.run("./test", "--lanes=4", "build-gcc", "e2e", "layers", "model")
    told = [line.split()[:2] for line in result.stdout.splitlines()]
    assert told.index(["ok", "build-gcc"]) < told.index(["running", "e2e"]) < told.index(["running", "model"]), result.stdout
    assert told.index(["running", "layers"]) < told.index(["ok", "build-gcc"])
    assert result.stdout.endswith("\n4 passed, 0 failed\n")


def test_a_run_configures_each_build_once(checkout):
    trivial(checkout, "tests/e2e", "tests/model")
    checkout.run("./test", "e2e", "model")
    assert [line.split()[1] for line in checkout.asked_of_cmake()] == ["--preset", "--build", "--build"]


@pytest.mark.parametrize(("lanes", "compilers"), [("1", "5"), ("2", "3"), ("5", "1"), ("9", "1")])
def test_a_step_that_compiles_takes_its_lanes_share_of_five_processors(checkout, lanes, compilers):
    checkout.stand_in("getconf", "echo 5")
    checkout.run("./test", f"--lanes={lanes}", "build-gcc")
    assert checkout.asked_of_cmake()[1] == f"cmake --build build -j {compilers}"


@pytest.mark.parametrize("lanes", ["0", "ten", ""])
def test_lanes_are_a_number(checkout, lanes):
    result = checkout.run("./test", f"--lanes={lanes}", "layers")
    assert result.stdout == "test: --lanes is a number from 1 to 9: how many steps run at a time\n"
    assert result.returncode == 1


def test_steps_side_by_side_have_a_home_and_temporary_files_of_their_own(checkout):
    for step in ("layers", "messages"):
        script(checkout, f"tests/{step}.py", "import os\nprint(os.environ['HOME'], os.environ['TMPDIR'])\n")
    checkout.run("./test", "--lanes=2", "layers", "messages")
    folders = [(checkout.build / f"test-logs/{step}.log").read_text().split() for step in ("layers", "messages")]
    assert len({folder for of_step in folders for folder in of_step}) == 4


def test_without_a_place_for_temporary_files_nothing_is_run_or_removed(checkout):
    result = checkout.run("env", "TMPDIR=/nowhere", "./test", "layers")
    assert result.returncode == 1
    assert result.stdout.endswith("\ntest: there can be no folder for temporary files in /nowhere\n"), result.stdout
    assert (checkout.top / "tests/layers.py").exists()


NOTES_ITS_COMMAND = """\
#!/bin/bash
exec 9>>build/contained
flock 9
echo "HOME=$HOME guarded=${2//$'\\n'/,} ${*: -1}" >>build/contained
"""


def test_every_step_of_a_whole_run_is_contained(checkout):
    """Each goes the way that keeps HOME and the logs as they are, whatever it starts."""
    (checkout.top / "tools/testing/contained").write_text(NOTES_ITS_COMMAND)
    steps = checkout.run("./test", "list", "--system=Linux").stdout.splitlines()
    steps = [step for step in steps if not step.startswith("left out ")]

    result = checkout.run("./test")

    assert result.stdout.endswith(f"\n{len(steps)} passed, 0 failed\n"), result.stdout
    contained = (checkout.build / "contained").read_text().splitlines()
    assert len(contained) == len(steps)
    told = [re.match(r"HOME=(\S+) guarded=(\S+) ", line).groups() for line in contained]
    assert sorted(pathlib.Path(home).name for home, _ in told) == sorted(f"home-{step}" for step in steps)
    assert all({str(checkout.home), "/var/log"} <= set(guarded.split(",")) for _, guarded in told)
