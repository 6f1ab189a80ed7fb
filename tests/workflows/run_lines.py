#!/usr/bin/python3
"""Runs the `run:` lines of a workflow's Linux job in a fresh Debian 12, one after the other, as a container would.

    tests/workflows/run_lines.py ci.yml linux
    tests/workflows/run_lines.py ci.yml linux --instead "./test=./test build-plain format"
    tests/workflows/run_lines.py release.yml deb --matrix machine=arm64

Needs root, debootstrap and python3-yaml. The fresh system is made of Debian's packages (minbase, as its container
image is) in a temporary folder and gone at the end, with a copy of the checkout's files. How this machine reaches
its package registries goes along: their settings and certificates. Steps that use an action are named and passed
over. Status 1 when a line ends with another status than 0, which ends the job.
"""

import argparse
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time

import yaml

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "packaging"))

from system_copy import unified_control_groups  # noqa: E402  (found through the lines above)

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
ENTER = REPOSITORY / "tests/packaging/enter_system_copy"
CHECKOUT = "__w/checkout"
SETTINGS_OF_REGISTRIES = [
    "/etc/apt", "/etc/ssl/certs", "/usr/local/share/ca-certificates", "/etc/resolv.conf", "/etc/hosts", "/root/.npmrc",
]  # fmt: skip
# Where an npm looks for its system's settings, depending on who has packaged it.
SETTINGS_OF_NPM = ["/etc/npmrc", "/usr/etc/npmrc", "/usr/local/etc/npmrc"]
LIST_OF_SOURCES = "etc/apt/sources.list"


def options():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("workflow", help="a file of .github/workflows")
    parser.add_argument("job")
    parser.add_argument("--matrix", action="append", default=[], metavar="KEY=VALUE")
    parser.add_argument("--instead", action="append", default=[], metavar="LINE=LINE", help="run another line, a shorter one")
    return parser.parse_args()


def pairs(texts):
    return dict(text.split("=", 1) for text in texts)


def matrix_of(job, chosen):
    """The first value of each of the matrix's keys that goes with the chosen ones."""
    matrix = dict(job.get("strategy", {}).get("matrix", {}))
    included = matrix.pop("include", [])
    values = {**{key: listed[0] for key, listed in matrix.items()}, **chosen}
    for addition in included:
        if all(values.get(key, value) == value for key, value in addition.items()):
            values.update(addition)
    return values


def filled_in(text, values):
    def value(match):
        name = match.group(1)
        if not name.startswith("matrix."):
            sys.exit(f"run_lines.py: {match.group(0)} has no value here")
        return str(values[name.removeprefix("matrix.")])

    return re.sub(r"\$\{\{ *([\w.-]+) *\}\}", value, str(text))


def lines_of(workflow, job, values):
    """(name, line or None, environment) of each step; None is an action."""
    for step in job["steps"]:
        if "run" not in step:
            yield step["uses"], None, {}
            continue
        merged = {**workflow.get("env", {}), **job.get("env", {}), **step.get("env", {})}
        environment = {name: filled_in(text, values) for name, text in merged.items()}
        yield step["run"].strip(), filled_in(step["run"], values), environment


def make_system(root):
    subprocess.run(["debootstrap", "--variant=minbase", "bookworm", root], check=True, stdout=subprocess.DEVNULL)
    for place in SETTINGS_OF_REGISTRIES:
        source, target = pathlib.Path(place), root / place.lstrip("/")
        if source.is_dir():
            shutil.copytree(source, target, dirs_exist_ok=True, symlinks=False, ignore_dangling_symlinks=True)
        elif source.exists():
            shutil.copy(source, target)
    for source in filter(os.path.exists, SETTINGS_OF_NPM):
        for place in SETTINGS_OF_NPM:
            target = root / place.lstrip("/")
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(source, target)
    if list((root / "etc/apt/sources.list.d").iterdir()):
        (root / LIST_OF_SOURCES).unlink(missing_ok=True)  # what debootstrap has put there is in one of them too


def copy_checkout(root):
    command = ["git", "-C", REPOSITORY, "ls-files", "-z", "--cached", "--others", "--exclude-standard"]
    names = subprocess.run(command, check=True, capture_output=True, text=True).stdout.split("\0")
    for name in filter(None, names):
        if (REPOSITORY / name).exists():
            target = root / CHECKOUT / name
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(REPOSITORY / name, target, follow_symlinks=False)


def group_of(folder):
    """The control group of what runs inside."""
    return unified_control_groups() / folder.name


def run_line(root, line, environment):
    """Its status, the seconds that it took, and the end of what it printed."""
    settings = {"CI": "true", "HOME": "/root", "GITHUB_RUN_ID": "1", **environment}
    inside = [f"{name}={value}" for name, value in settings.items()]
    shell = ["bash", "--noprofile", "--norc", "-eo", "pipefail", "-c", f"cd /{CHECKOUT}\n{line}"]
    begin = time.monotonic()
    done = subprocess.run(
        [ENTER, root, group_of(root.parent), "env", *inside, *shell],
        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace", check=False,
    )  # fmt: skip
    return done.returncode, time.monotonic() - begin, done.stdout.splitlines()[-40:]


def remove_group(group):
    """What ran in it is on its way out when its first process has ended."""
    deadline = time.monotonic() + 30
    while group.exists():
        try:
            group.rmdir()
        except OSError:
            if time.monotonic() > deadline:
                raise
            time.sleep(0.1)


def main():
    chosen = options()
    workflow = yaml.safe_load((REPOSITORY / ".github/workflows" / chosen.workflow).read_text())
    job = workflow["jobs"][chosen.job]
    instead = pairs(chosen.instead)
    steps = list(lines_of(workflow, job, matrix_of(job, pairs(chosen.matrix))))
    folder = pathlib.Path(tempfile.mkdtemp(prefix="dns_proxy_mac-"))
    try:
        root = folder / "root"
        begin = time.monotonic()
        make_system(root)
        copy_checkout(root)
        print(f"{time.monotonic() - begin:6.0f} s  a fresh system of {chosen.workflow}, job {chosen.job}", flush=True)
        for name, line, environment in steps:
            if line is None:
                print(f"          passed over: {name}", flush=True)
                continue
            status, seconds, end = run_line(root, instead.get(name, line), environment)
            replaced = f" (in place of {name})" if name in instead else ""
            print(f"{seconds:6.0f} s  status {status}: {instead.get(name, name)}{replaced}", flush=True)
            if status != 0:
                print("\n".join(end))
                return 1
    finally:
        shutil.rmtree(folder)
        remove_group(group_of(folder))
    return 0


if __name__ == "__main__":
    if os.geteuid() != 0:
        sys.exit("run_lines.py: root is needed")
    sys.exit(main())
