"""The Homebrew formulas, loaded by a stand-in for Homebrew, their own tests run on the programs as built here."""

import hashlib
import json
import pathlib
import re
import subprocess

import pytest

from installed import BUILD, REPOSITORY

HOMEBREW = "/opt/homebrew"
FORMULA = REPOSITORY / "packaging/homebrew/dns_proxy_mac.rb"
UPSTREAM = FORMULA.with_name("dns_proxy_upstream.rb")
PAGE = FORMULA.with_name("dns_proxy_page.rb")
FOR_RELEASE = REPOSITORY / "packaging/homebrew/for_release"
STAND_IN = pathlib.Path(__file__).with_name("homebrew_stand_in.rb")
LIBEXEC = f"{HOMEBREW}/opt/dns_proxy_mac/libexec"


def version():
    text = (REPOSITORY / "CMakeLists.txt").read_text()
    return re.search(r"^project\(dns_proxy_mac VERSION ([0-9.]+)", text, re.MULTILINE).group(1)


def loaded(formula=FORMULA, programs=BUILD):
    done = subprocess.run(
        ["ruby", STAND_IN, formula, programs, version()], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
        timeout=60, check=False,
    )  # fmt: skip
    assert done.returncode == 0, done.stdout
    return json.loads(done.stdout.splitlines()[0])


@pytest.mark.parametrize("formula", [FORMULA, UPSTREAM, PAGE], ids=lambda formula: formula.stem)
def test_ruby_has_nothing_to_say_about_the_formula(formula):
    done = subprocess.run(["ruby", "-wc", formula], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    assert done.stdout == "Syntax OK\n"


def test_formula_declares_what_it_is_and_its_own_test_passes(package):
    declared = loaded()["declared"]
    assert declared["desc"] == "Local DNS forwarding proxy with a host map"
    assert declared["url"] == f"https://dns-proxy-mac.example/dns_proxy_mac-{version()}.tar.gz"
    assert declared["depends_on"] == [["cli11", "build"], ["cmake", "build"], ["libidn2"], ["macos"]]


def test_programs_beside_the_proxy_are_formulas_of_their_own_and_their_tests_pass(package):
    assert loaded(UPSTREAM)["declared"]["depends_on"] == [["cli11", "build"], ["cmake", "build"], ["c-ares"], ["macos"]]
    assert loaded(PAGE)["declared"]["depends_on"] == [
        ["cli11", "build"], ["cmake", "build"], ["nlohmann-json", "build"], ["macos"], ["sqlite"],
    ]  # fmt: skip


@pytest.mark.parametrize(
    ("formula", "part", "left_out"),
    [(UPSTREAM, "upstream", "-DCMAKE_DISABLE_FIND_PACKAGE_SQLite3=ON"), (PAGE, "page", "-DCARES_LIBRARY=OFF")],
    ids=["upstream", "page"],
)
def test_formula_of_one_part_builds_and_installs_that_part_alone(package, formula, part, left_out):
    configure, build, install = loaded(formula)["commands"]
    assert "-DSERVICE_FILES=OFF" in configure
    assert left_out in configure
    assert build == ["cmake", "--build", "build", "--target", f"dns_proxy_{part}"]
    assert install == ["cmake", "--install", "build", "--component", part]


def test_formula_of_the_proxy_leaves_the_other_parts_out(package):
    configure = loaded()["commands"][0]
    assert {"-DCARES_LIBRARY=OFF", "-DCMAKE_DISABLE_FIND_PACKAGE_SQLite3=ON"} <= set(configure)


def test_service_of_the_upstream_program_runs_its_start_script_as_root(package):
    assert loaded(UPSTREAM)["service"] == {
        "run": [f"{HOMEBREW}/opt/dns_proxy_upstream/libexec/dns_proxy_mac/start_upstream"],
        "require_root": True,
        "keep_alive": True,
        "process_type": "interactive",
        "error_log_path": "/var/log/Varnok/events",
    }


def test_service_of_the_page_names_the_companion_of_the_other_formula(package):
    assert loaded(PAGE)["service"] == {
        "run": [f"{HOMEBREW}/opt/dns_proxy_page/libexec/dns_proxy_mac/start_page"],
        "require_root": True,
        "keep_alive": True,
        "process_type": "background",
        "environment_variables": {"COMPANION": f"{HOMEBREW}/bin/dns_proxy_ctl"},
        "error_log_path": "/var/log/Varnok/events",
    }


def test_caveats_of_the_other_parts_name_what_they_take_and_how_they_are_used(package):
    upstream, page = loaded(UPSTREAM)["caveats"], loaded(PAGE)["caveats"]
    for word in ("127.0.53.3", "/var/log/Varnok/servers", "sudo brew services start dns_proxy_upstream", "-alias"):
        assert word in upstream
    for word in ("http://127.0.0.1:5380/", "sudo brew services start dns_proxy_page", "/var/db/dns_proxy_page"):
        assert word in page


def test_installation_leaves_the_services_of_the_system_alone(package):
    commands = loaded()["commands"]
    assert [command[:2] for command in commands] == [["cmake", "-S"], ["cmake", "--build"], ["cmake", "--install"]]
    assert "-DSERVICE_FILES=OFF" in commands[0]
    assert f"-DCMAKE_INSTALL_PREFIX=/opt/homebrew/Cellar/dns_proxy_mac/{version()}" in commands[0]


def test_service_runs_the_start_script_as_root(package):
    assert loaded()["service"] == {
        "run": [f"{LIBEXEC}/dns_proxy_mac/start", "proxy"],
        "require_root": True,
        "keep_alive": True,
        "process_type": "interactive",
        "environment_variables": {"TRACE_MEGABYTES": "64"},
        "error_log_path": "/var/log/Varnok/events",
    }


def test_caveats_name_what_stands_in_the_way(package):
    caveats = loaded()["caveats"]
    assert f"sudo {LIBEXEC}/dns_proxy_mac/create_configuration" in caveats
    for word in ("Port 53", "mDNSResponder", "sudo brew services start dns_proxy_mac", "dns_proxy_ctl watch"):
        assert word in caveats


def test_formula_that_is_not_there_is_refused(tmp_path):
    archive = tmp_path / "sources.tar.gz"
    archive.write_bytes(b"the sources")
    done = subprocess.run([FOR_RELEASE, "https://forge.example/sources.tar.gz", archive, "other"], capture_output=True, text=True)
    assert (done.returncode, done.stderr) == (1, "packaging/homebrew/for_release: there is no formula 'other'\n")


def test_formula_for_a_release_names_its_sources_and_their_checksum(package, tmp_path):
    archive = tmp_path / "sources.tar.gz"
    archive.write_bytes(b"the sources")
    made = subprocess.run(
        [FOR_RELEASE, "https://forge.example/v9/sources.tar.gz", archive], capture_output=True, text=True, check=True
    ).stdout
    formula = tmp_path / "dns_proxy_mac.rb"
    formula.write_text(made)

    declared = loaded(formula)["declared"]
    assert declared["url"] == "https://forge.example/v9/sources.tar.gz"
    assert declared["sha256"] == hashlib.sha256(b"the sources").hexdigest()
    assert len(made.splitlines()) == len(FORMULA.read_text().splitlines())


def test_service_files_can_be_left_out(tmp_path):
    subprocess.run(
        ["cmake", "-S", REPOSITORY, "-B", tmp_path, "-DSERVICE_FILES=OFF", "-DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON"],
        check=True, stdout=subprocess.DEVNULL,
    )  # fmt: skip
    script = (tmp_path / "packaging/cmake_install.cmake").read_text()
    assert "create_configuration" in script
    assert "systemd" not in script
