"""The manual pages: well formed, and complete against what the programs offer."""

import re
import subprocess

import pytest

from installed import BUILD, REPOSITORY

PAGES = sorted((REPOSITORY / "packaging/man").iterdir())
COMMANDS = ["check", "probe", "trace", "watch", "guard", "on", "off", "upstream", "status", "name", "list"]


def names(pages):
    return [page.name for page in pages]


def output_of(*command, cwd=None):
    done = subprocess.run(
        command, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False
    )
    assert done.returncode == 0, done.stdout
    return done.stdout


def plain_page(page):
    text = subprocess.run(
        ["man", "--warnings", "-l", page], env={"MANWIDTH": "200", "PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8"},
        capture_output=True, text=True, check=True,
    )
    assert text.stderr == ""
    return text.stdout.replace("\u2010", "-")


def test_there_is_a_page_for_each_program_and_one_for_the_files():
    assert names(PAGES) == ["dns_proxy_ctl.1", "dns_proxy_mac.5", "dns_proxy_mac.8", "dns_proxy_page.8", "dns_proxy_upstream.8"]


@pytest.mark.parametrize("page", PAGES, ids=names(PAGES))
def test_page_is_without_a_complaint_of_either_formatter(page):
    assert output_of("mandoc", "-T", "lint", "-W", "style", page, cwd=page.parent) == ""  # the others are found there
    assert plain_page(page).startswith(page.name.split(".")[0].upper())


@pytest.mark.parametrize("command", COMMANDS)
def test_page_names_each_command_with_all_its_options(package, command):
    text = plain_page(REPOSITORY / "packaging/man/dns_proxy_ctl.1")
    options = re.findall(r"--[a-z]+", output_of(BUILD / "dns_proxy_ctl", command, "--help").split("\n\n")[1])

    synopsis = text[text.index("SYNOPSIS") : text.index("DESCRIPTION")]
    assert re.search(rf"^ +dns_proxy_ctl {command}\b", synopsis, re.MULTILINE)
    assert [option for option in options if option not in synopsis] == []


def test_page_names_no_command_that_the_program_lacks(package):
    text = plain_page(REPOSITORY / "packaging/man/dns_proxy_ctl.1")
    synopsis = text[text.index("SYNOPSIS") : text.index("DESCRIPTION")]
    offered = output_of(BUILD / "dns_proxy_ctl", "--help").split("Subcommands:")[1]

    assert set(re.findall(r"^ +dns_proxy_ctl ([a-z]+)", synopsis, re.MULTILINE)) == set(COMMANDS)
    assert set(re.findall(r"^  ([a-z]+) ", offered, re.MULTILINE)) == set(COMMANDS)
