"""The archive for macOS: what is in it, and its scripts in a copy of this machine's system whose tools
answer as those of macOS do. Named in full to be run, because it begins with a cross build."""

import os
import re
import shutil
import struct
import subprocess

import pytest

from installed import REPOSITORY
from system_copy import Ended, SystemCopy

UNIVERSAL = 0xCAFEBABE
X86_64 = 0x01000007
ARM64 = 0x0100000C
EXECUTABLE = 2
CODE_SIGNATURE = 0x1D
INSTALLED = [
    "/Library/LaunchDaemons/local.dns_proxy_mac.edited.plist",
    "/Library/LaunchDaemons/local.dns_proxy_mac.host.plist",
    "/Library/LaunchDaemons/local.dns_proxy_mac.plist",
    "/Library/LaunchDaemons/local.dns_proxy_mac.watch.plist",
    "/etc/newsyslog.d/dns_proxy_mac.conf",
    "/usr/local/bin/dns_proxy_ctl",
    "/usr/local/libexec/dns_proxy_mac/apply_edit",
    "/usr/local/libexec/dns_proxy_mac/create_configuration",
    "/usr/local/libexec/dns_proxy_mac/installed_files",
    "/usr/local/libexec/dns_proxy_mac/start",
    "/usr/local/libexec/dns_proxy_mac/uninstall",
    "/usr/local/sbin/dns_proxy_mac",
    "/usr/local/share/bash-completion/completions/dns_proxy_ctl",
    "/usr/local/share/man/man1/dns_proxy_ctl.1",
    "/usr/local/share/man/man5/dns_proxy_mac.5",
    "/usr/local/share/man/man8/dns_proxy_mac.8",
    "/usr/local/share/zsh/site-functions/_dns_proxy_ctl",
]
LIST = "/usr/local/libexec/dns_proxy_mac/installed_files"
UNINSTALL = "/usr/local/libexec/dns_proxy_mac/uninstall"
PROGRAMS = [path for path in INSTALLED if "bin/" in path or "/libexec/" in path and path != LIST]
# A loaded job is a file, with what the proxy's program was when it was loaded.
LAUNCHCTL = """
echo "$@" >>/launchctl_was_asked
label=${2#system/}
case $1 in
  print) [ -e "/loaded/$label" ] || exit 113 ;;
  bootout) rm "/loaded/$label" ;;
  bootstrap)
    [ ! -e /launchd_refuses ] || exit 5
    mkdir -p /loaded
    cp "/usr/local/sbin/dns_proxy_mac" "/loaded/$(basename "$3" .plist)" ;;
esac
"""
TOOLS_OF_MACOS = {
    "uname": "echo Darwin",
    "sw_vers": "cat /version_of_macos 2>/dev/null || echo 13.0",
    "scutil": 'for server in $(cat /asks 2>/dev/null) 192.0.2.1 192.0.2.1; do echo "  nameserver[0] : $server"; done',
    "launchctl": LAUNCHCTL,
    "lsof": 'cat /who_has_port_53 2>/dev/null',
    "xattr": 'echo "$@" >>/xattr_was_asked',
}  # fmt: skip
LABELS = [
    "local.dns_proxy_mac",
    "local.dns_proxy_mac.watch",
    "local.dns_proxy_mac.edited",
    "local.dns_proxy_mac.host",
]


@pytest.fixture(scope="module")
def archive():
    built = subprocess.run(
        [REPOSITORY / "packaging/macos/build"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False
    )
    assert built.returncode == 0, built.stdout
    return REPOSITORY / built.stdout.splitlines()[-1]


@pytest.fixture
def mac(archive):
    with SystemCopy() as system:
        for name, script in TOOLS_OF_MACOS.items():
            system.put(f"/macos/{name}", f"#!/bin/sh\n{script}\n")
            system.file(f"/macos/{name}").chmod(0o755)
        system.file("/archive").mkdir()
        subprocess.run(["tar", "--extract", "--file", archive, "--strip-components=1", "-C", system.file("/archive")],
                       check=True)  # fmt: skip
        yield system


def run(system, *command):
    return system.run("env", "PATH=/macos:/usr/sbin:/usr/bin:/sbin:/bin", *command)


def asked_of_launchd(system):
    log = system.file("/launchctl_was_asked")
    lines = log.read_text().splitlines() if log.exists() else []
    return [line for line in lines if not line.startswith("print ")]


def installed(system):
    names = ["-name", "*dns_proxy*", "-o", "-path", "*/dns_proxy_mac/*"]
    places = [system.file(place) for place in ("/Library", "/etc", "/usr/local") if system.file(place).exists()]
    command = ["find", *places, "-type", "f", "(", *names, ")"]
    found = subprocess.run(command, capture_output=True, text=True, check=True)
    return sorted(line.removeprefix(str(system.root)) for line in found.stdout.splitlines())


def slices(content):
    """The programs in a universal file, by machine."""
    magic, count = struct.unpack(">II", content[:8])
    assert magic == UNIVERSAL
    entries = [struct.unpack(">IIIII", content[8 + 20 * at : 28 + 20 * at]) for at in range(count)]
    return {machine: content[offset : offset + size] for machine, _, offset, size, _ in entries}


def load_commands(program):
    count = struct.unpack("<I", program[16:20])[0]
    at, commands = 32, []
    for _ in range(count):
        command, size = struct.unpack("<II", program[at : at + 8])
        commands.append(command)
        at += size
    return commands


@pytest.mark.parametrize("path", ["/usr/local/sbin/dns_proxy_mac", "/usr/local/bin/dns_proxy_ctl"])
def test_each_program_is_for_both_machines(mac, path):
    programs = slices(mac.file("/archive/files" + path).read_bytes())

    assert set(programs) == {X86_64, ARM64}
    for machine, program in programs.items():
        assert struct.unpack("<4xI4xI", program[:16]) == (machine, EXECUTABLE)
    assert CODE_SIGNATURE in load_commands(programs[ARM64])  # without it that machine runs nothing


def test_archive_is_named_after_the_version_of_the_sources(archive):
    text = (REPOSITORY / "CMakeLists.txt").read_text()
    version = re.search(r"^project\(dns_proxy_mac VERSION ([0-9.]+)", text, re.MULTILINE).group(1)
    assert archive.name == f"dns_proxy_mac-{version}-macos.tar.gz"


def test_install_lays_everything_down_and_has_launchd_run_it(mac):
    run(mac, "/archive/install")

    assert installed(mac) == INSTALLED
    modes = {path: oct(mac.file(path).stat().st_mode)[-3:] for path in INSTALLED}
    assert modes == {path: "755" if path in PROGRAMS else "644" for path in INSTALLED}
    assert mac.file("/var/log/Varnok/dns").read_text() == "192.0.2.1\n"
    assert mac.file("/var/log/Varnok/hostmap").read_text() == "proxy.example:10.0.0.1\n"
    expected = []
    for label in LABELS:
        expected += [f"enable system/{label}", f"bootstrap system /Library/LaunchDaemons/{label}.plist"]
    assert asked_of_launchd(mac) == expected


def test_install_keeps_a_configuration_that_is_there(mac):
    mac.put("/var/log/Varnok/dns", "192.0.2.7\n")
    run(mac, "/archive/install")
    assert mac.file("/var/log/Varnok/dns").read_text() == "192.0.2.7\n"


def test_install_does_not_start_the_proxy_when_its_port_is_taken(mac):
    mac.put("/who_has_port_53", "other 7 root 6u IPv4 0x1 0t0 UDP *:53\n")
    said = run(mac, "/archive/install")

    assert said.splitlines()[-1].startswith("install: port 53 of 127.0.0.1 is taken: the proxy is not started now")
    assert asked_of_launchd(mac) == []
    assert installed(mac) == INSTALLED


def test_install_refuses_another_system(mac):
    with pytest.raises(Ended, match="install: this is for macOS"):
        mac.run("/archive/install")
    assert installed(mac) == []


def test_uninstall_keeps_the_configuration(mac):
    run(mac, "/archive/install")
    run(mac, UNINSTALL)

    assert installed(mac) == []
    assert mac.file("/var/log/Varnok/dns").exists()
    assert asked_of_launchd(mac)[-len(LABELS):] == [f"bootout system/{label}" for label in reversed(LABELS)]
    assert not list(mac.file("/loaded").iterdir())


def test_uninstall_with_purge_leaves_nothing(mac):
    run(mac, "/archive/install")
    for name in ("trace", "trace.before", "trace.0.gz", "events", "names", "names.d/office", "never_listed"):
        mac.put(f"/var/log/Varnok/{name}", "")
    run(mac, UNINSTALL, "--purge")

    assert installed(mac) == []
    assert not mac.file("/var/log/Varnok").exists()


def test_uninstall_warns_when_the_host_still_asks_the_proxy(mac):
    run(mac, "/archive/install")
    mac.put("/asks", "127.0.0.1")
    assert run(mac, UNINSTALL) == (
        "uninstall: this Mac still asks 127.0.0.1 for names: name other DNS servers in its network settings\n"
    )


def test_uninstall_says_so_when_nothing_is_installed(mac):
    with pytest.raises(Ended, match="installed_files is missing: nothing is installed, or by other means"):
        run(mac, "/archive/files" + UNINSTALL)


def test_mark_of_a_download_is_taken_off_everything_that_is_installed(mac):
    run(mac, "/archive/install")
    asked = mac.file("/xattr_was_asked").read_text().splitlines()
    assert sorted(asked) == [f"-d com.apple.quarantine {path}.new" for path in INSTALLED if path != LIST]


def test_nothing_is_installed_where_macos_protects_its_own_files(mac):
    files = mac.file("/archive/files")
    paths = ["/" + str(path.relative_to(files)) for path in files.rglob("*") if path.is_file()]
    assert len(paths) == len(INSTALLED) - 1
    assert [path for path in paths if not path.startswith(("/usr/local/", "/Library/", "/etc/"))] == []


def test_upgrade_replaces_a_running_version_and_removes_what_only_it_had(mac):
    run(mac, "/archive/install")
    mac.put("/usr/local/sbin/dns_proxy_mac", "earlier")
    mac.put("/loaded/local.dns_proxy_mac", "earlier")
    mac.put("/usr/local/libexec/dns_proxy_mac/old_helper", "")
    with mac.file(LIST).open("a") as file:
        file.write("usr/local/libexec/dns_proxy_mac/old_helper\n")
    mac.put("/var/log/Varnok/dns", "192.0.2.7\n")
    mac.file("/launchctl_was_asked").unlink()

    run(mac, "/archive/install")

    assert installed(mac) == INSTALLED
    assert asked_of_launchd(mac)[:len(LABELS)] == [f"bootout system/{label}" for label in LABELS]
    running = mac.file("/loaded/local.dns_proxy_mac").read_bytes()
    assert running == mac.file("/archive/files/usr/local/sbin/dns_proxy_mac").read_bytes()
    assert mac.file("/var/log/Varnok/dns").read_text() == "192.0.2.7\n"


def test_upgrade_that_cannot_copy_everything_leaves_the_running_version_alone(mac):
    run(mac, "/archive/install")
    mac.put("/usr/local/sbin/dns_proxy_mac", "earlier")
    in_the_way = mac.file("/usr/local/share/zsh/site-functions/_dns_proxy_ctl.new")
    (in_the_way / "_dns_proxy_ctl").mkdir(parents=True)
    mac.file("/launchctl_was_asked").unlink()

    with pytest.raises(Ended, match="install: not everything could be copied: nothing is changed"):
        run(mac, "/archive/install")

    assert asked_of_launchd(mac) == []
    assert mac.file("/usr/local/sbin/dns_proxy_mac").read_text() == "earlier"
    assert [path for path in installed(mac) if path.endswith(".new")] == []


def test_install_tells_what_to_do_when_launchd_refuses(mac):
    mac.put("/launchd_refuses", "")
    with pytest.raises(Ended, match="launchd does not take local.dns_proxy_mac: try again, or restart this Mac"):
        run(mac, "/archive/install")


def test_install_refuses_a_macos_that_is_too_old(mac):
    mac.put("/version_of_macos", "12.7.6\n")
    with pytest.raises(Ended, match="install: this needs macOS 13.0 or later, not 12.7.6"):
        run(mac, "/archive/install")
    assert installed(mac) == []


def verified(program):
    """What the last look at a program says of this one."""
    command = [REPOSITORY / "packaging/macos/verify", program]
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    return done.returncode, done.stdout


def test_program_for_one_machine_alone_is_noticed(archive):
    program = REPOSITORY / "build/macos/arm64/dns_proxy_mac"
    assert verified(program) == (
        1, f"packaging/macos/verify: {program}: not for x86_64 and arm64, but for: arm64\n"
    )  # fmt: skip


def test_program_that_names_the_folder_it_was_built_in_is_noticed(mac, tmp_path):
    program = tmp_path / "program"
    program.write_bytes(mac.file("/archive/files/usr/local/sbin/dns_proxy_mac").read_bytes())
    assert verified(program) == (0, "")
    with program.open("ab") as file:
        file.write(str(REPOSITORY).encode())
    assert verified(program) == (
        1, f"packaging/macos/verify: {program}: names the folder that it was built in\n"
    )  # fmt: skip


def test_program_that_needs_another_library_is_noticed(mac, tmp_path):
    program = tmp_path / "program"
    content = mac.file("/archive/files/usr/local/sbin/dns_proxy_mac").read_bytes()
    assert content.count(b"/usr/lib/libSystem.B.dylib") == 2
    program.write_bytes(content.replace(b"/usr/lib/libSystem.B.dylib", b"/usr/lib/libSystem.C.dylib"))
    said = "".join(f"packaging/macos/verify: {program}: {machine}: needs /usr/lib/libSystem.C.dylib\n"
                   for machine in ("x86_64", "arm64"))  # fmt: skip
    assert verified(program) == (1, said)


def test_program_for_a_later_macos_is_noticed(mac, tmp_path):
    program = tmp_path / "program"
    content = mac.file("/archive/files/usr/local/sbin/dns_proxy_mac").read_bytes()
    macos_13, macos_14 = (struct.pack("<II", 1, version << 16) for version in (13, 14))
    assert content.count(macos_13) == 2
    program.write_bytes(content.replace(macos_13, macos_14))
    said = "".join(f"packaging/macos/verify: {program}: {machine}: not for macOS 13.0 and later\n"
                   for machine in ("x86_64", "arm64"))  # fmt: skip
    assert verified(program) == (1, said)


def test_second_build_elsewhere_gives_the_same_bytes(archive, tmp_path):
    """Other folder, nothing kept from the first build but the compiler itself."""
    names = subprocess.run(
        ["git", "-C", REPOSITORY, "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
        capture_output=True, text=True, check=True,
    ).stdout.split("\0")  # fmt: skip
    for name in filter(None, names):
        if (REPOSITORY / name).exists():
            (tmp_path / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(REPOSITORY / name, tmp_path / name)
    (tmp_path / "tools/macos/node_modules").symlink_to(REPOSITORY / "tools/macos/node_modules")
    environment = {**os.environ, "ZIG_GLOBAL_CACHE_DIR": str(tmp_path / "build/macos/cache")}
    subprocess.run(
        [tmp_path / "packaging/macos/build"], env=environment, stdout=subprocess.DEVNULL, check=True, timeout=2400
    )
    assert (tmp_path / "build/packages" / archive.name).read_bytes() == archive.read_bytes()
