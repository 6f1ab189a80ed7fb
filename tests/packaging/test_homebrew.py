"""The Homebrew formula, loaded by a stand-in for Homebrew, its own test run on the programs as built here."""

import hashlib
import json
import pathlib
import re
import subprocess

from installed import BUILD, REPOSITORY

FORMULA = REPOSITORY / "packaging/homebrew/dns_proxy_mac.rb"
FOR_RELEASE = REPOSITORY / "packaging/homebrew/for_release"
STAND_IN = pathlib.Path(__file__).with_name("homebrew_stand_in.rb")
LIBEXEC = "/opt/homebrew/opt/dns_proxy_mac/libexec"


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


def test_ruby_has_nothing_to_say_about_the_formula():
    done = subprocess.run(["ruby", "-wc", FORMULA], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    assert done.stdout == "Syntax OK\n"


def test_formula_declares_what_it_is_and_its_own_test_passes(package):
    declared = loaded()["declared"]
    assert declared["desc"] == "Local DNS forwarding proxy with a host map"
    assert declared["url"] == f"https://dns-proxy-mac.example/dns_proxy_mac-{version()}.tar.gz"
    assert declared["depends_on"] == [["cli11", "build"], ["cmake", "build"], ["libidn2"], ["macos"]]


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
