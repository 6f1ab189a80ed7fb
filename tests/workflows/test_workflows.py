"""What actionlint does not look at: versions, permissions, who checks what out, and that each line can be run here."""

import pathlib
import re

import pytest
import yaml

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
FILES = sorted((REPOSITORY / ".github/workflows").glob("*.yml"))
JOBS = [(file, name) for file in FILES for name in yaml.safe_load(file.read_text())["jobs"]]
PINNED = re.compile(r"^[\w-]+/[\w-]+@[0-9a-f]{40} # v\d+\.\d+\.\d+$")


def job_of(file, name):
    return yaml.safe_load(file.read_text())["jobs"][name]


def steps():
    return [(file, name, step) for file, name in JOBS for step in job_of(file, name)["steps"]]


def test_there_are_the_three_workflows():
    assert [file.name for file in FILES] == ["ci.yml", "nightly.yml", "release.yml"]


@pytest.mark.parametrize("file", FILES, ids=lambda file: file.name)
def test_actions_are_pinned_by_commit_and_name_their_version(file):
    used = re.findall(r"uses: (.*)", file.read_text())
    assert used
    assert [line for line in used if not PINNED.match(line)] == []


@pytest.mark.parametrize("file", FILES, ids=lambda file: file.name)
def test_workflow_may_only_read(file):
    assert yaml.safe_load(file.read_text())["permissions"] == {"contents": "read"}


def test_one_job_alone_may_write_and_it_makes_the_release():
    asking = {(file.name, name): job_of(file, name).get("permissions") for file, name in JOBS}
    assert {job: asked for job, asked in asking.items() if asked} == {("release.yml", "publish"): {"contents": "write"}}


def test_checkout_leaves_no_token_behind():
    checkouts = [step for _, _, step in steps() if step.get("uses", "").startswith("actions/checkout@")]
    assert len(checkouts) == len(JOBS)
    assert [step for step in checkouts if step.get("with") != {"persist-credentials": False}] == []


def test_no_line_is_put_together_from_what_somebody_else_may_have_written():
    assert [step["run"] for _, _, step in steps() if "${{" in step.get("run", "")] == []


def test_every_job_ends():
    assert [name for file, name in JOBS if "timeout-minutes" not in job_of(file, name)] == []


def test_both_linux_systems_and_both_processors_of_each_system_run_the_tests():
    linux, macos = (job_of(FILES[0], name) for name in ("linux", "macos"))
    assert linux["strategy"]["matrix"]["system"] == ["debian:12", "ubuntu:24.04"]
    assert linux["strategy"]["matrix"]["machine"] == ["x86-64", "arm64"]
    assert [runner["runner"] for runner in macos["strategy"]["matrix"]["include"]] == ["macos-15-intel", "macos-15"]
    for job in (linux, macos):
        assert "./test" in [step.get("run") for step in job["steps"]]


def test_every_command_of_a_line_is_in_the_repository():
    words = [step["run"].split()[0] for _, _, step in steps() if "run" in step]
    commands = {word for word in words if "/" in word}
    assert [command for command in commands if not (REPOSITORY / command).is_file()] == []
    assert {word for word in words if "/" not in word} == {"gh", "rm", "setarch"}
