"""The commands that the documents name are there, and do what the documents say."""

import re
import subprocess

import pytest

from checkout import REPOSITORY

DOCUMENTS = ["README.md", "CONTRIBUTING.md", "docs/testing.md", "packaging/README.md"]
COMMAND = re.compile(r"`(?:\./test|(?:/usr/bin/python3 -m pytest )?(?:tests|tools|packaging|bench)/[^`\s]+)[^`]*`")


def commands(document):
    return [found.strip("`") for found in COMMAND.findall((REPOSITORY / document).read_text(encoding="utf-8"))]


def steps():
    listed = subprocess.run([REPOSITORY / "test", "list", "--system=Linux"], stdout=subprocess.PIPE, check=True)
    return listed.stdout.decode().split()


@pytest.mark.parametrize("document", DOCUMENTS)
def test_steps_that_are_named_exist(document):
    named = [word for line in commands(document) if line.startswith("./test ") for word in line.split()[1:]]
    assert [word for word in named if word.islower() and word not in steps() and word != "list"] == []


@pytest.mark.parametrize("document", DOCUMENTS)
def test_files_that_are_named_exist(document):
    words = [word for line in commands(document) for word in line.split() if re.match(r"(tests|tools|bench)/", word)]
    missing = [word for word in words if "*" not in word and not (REPOSITORY / word).exists()]
    assert missing == []


def test_example_that_replays_some_steps_is_accepted():
    text = (REPOSITORY / "docs/testing.md").read_text(encoding="utf-8")
    [example] = re.findall(r"`(tests/model/compare\.py --[^`]*--keep [^`]*)`", text)
    done = subprocess.run(example.split(), cwd=REPOSITORY, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    assert (done.returncode, done.stdout) == (0, b"5 steps, no difference\n")
