"""What packaging/release makes of a folder of packages: a small checkout of the repository's own files, tagged."""

import shutil
import subprocess
import tarfile

import pytest

from installed import REPOSITORY
from test_homebrew import version

FILES = ["CMakeLists.txt", "CHANGELOG.md", "packaging/release", "packaging/homebrew"]
ADDRESS = "https://forge.example/releases/v1"
WHO = ["-c", "user.name=somebody", "-c", "user.email=somebody@example.invalid"]


@pytest.fixture
def checkout(tmp_path):
    """Of one commit; without settings of the host's own."""
    folder = tmp_path / "checkout"
    for name in FILES:
        source, target = REPOSITORY / name, folder / name
        target.parent.mkdir(parents=True, exist_ok=True)
        (shutil.copytree if source.is_dir() else shutil.copy2)(source, target)
    for command in (["init", "--quiet"], ["add", "--all"], [*WHO, "commit", "--quiet", "--message=all"]):
        subprocess.run(["git", *command], cwd=folder, check=True)
    return folder


@pytest.fixture
def packages(tmp_path):
    folder = tmp_path / "packages"
    folder.mkdir()
    for machine in ("amd64", "arm64"):
        (folder / f"dns-proxy-mac_{version()}_{machine}.deb").write_text(machine)
    (folder / f"dns_proxy_mac-{version()}-macos.tar.gz").write_text("both")
    return folder


def release(checkout, tag, folder):
    command = [checkout / "packaging/release", tag, ADDRESS, folder]
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)


def test_release_has_the_packages_the_sources_the_formulas_and_the_checksums_of_all(checkout, packages):
    done = release(checkout, f"v{version()}", packages)

    assert (done.returncode, done.stdout) == (0, "")
    names = sorted(path.name for path in packages.iterdir())
    assert names == [
        "SHA256SUMS",
        f"dns-proxy-mac_{version()}_amd64.deb",
        f"dns-proxy-mac_{version()}_arm64.deb",
        f"dns_proxy_mac-{version()}-macos.tar.gz",
        f"dns_proxy_mac-{version()}.tar.gz",
        "dns_proxy_mac.rb",
        "dns_proxy_page.rb",
        "dns_proxy_upstream.rb",
    ]
    checked = subprocess.run(["sha256sum", "--check", "--strict", "SHA256SUMS"], cwd=packages, capture_output=True, text=True)
    assert checked.stdout.splitlines() == [f"{name}: OK" for name in names if name != "SHA256SUMS"]


@pytest.mark.parametrize("name", ["dns_proxy_mac", "dns_proxy_upstream", "dns_proxy_page"])
def test_formula_of_a_release_names_its_sources(checkout, packages, name):
    release(checkout, f"v{version()}", packages)
    formula = (packages / f"{name}.rb").read_text()
    sums = dict(reversed(line.split()) for line in (packages / "SHA256SUMS").read_text().splitlines())
    sources = f"dns_proxy_mac-{version()}.tar.gz"
    assert f'  url "{ADDRESS}/{sources}"\n' in formula
    assert f'  sha256 "{sums[sources]}"\n' in formula


def test_sources_are_those_of_the_commit(checkout, packages):
    (checkout / "CMakeLists.txt").write_text((checkout / "CMakeLists.txt").read_text() + "# not committed\n")
    release(checkout, f"v{version()}", packages)
    with tarfile.open(packages / f"dns_proxy_mac-{version()}.tar.gz") as sources:
        top = f"dns_proxy_mac-{version()}"
        assert sources.getmember(f"{top}/packaging/release").isfile()
        assert b"# not committed" not in sources.extractfile(f"{top}/CMakeLists.txt").read()


def test_notes_are_the_change_logs_section_on_the_version(checkout, packages):
    change_log = checkout / "CHANGELOG.md"
    change_log.write_text(f"# Changelog\n\n## 99.0.0\n\n- Later.\n\n## {version()}\n\n- This.\n\n## 0.1.0\n\n- Earlier.\n")
    release(checkout, f"v{version()}", packages)
    assert (checkout / "build/release-notes").read_text() == f"## {version()}\n\n- This.\n\n"


@pytest.mark.parametrize("tag", ["v99.0.0", "1.0.0", "v1.0"])
def test_tag_that_is_not_the_version_is_refused(checkout, packages, tag):
    done = release(checkout, tag, packages)
    assert done.returncode == 1
    assert done.stdout == f"packaging/release: the tag is {tag}, and the sources are of version {version()}\n"


def test_release_without_one_of_its_packages_is_refused(checkout, packages):
    next(packages.glob("*arm64.deb")).unlink()
    done = release(checkout, f"v{version()}", packages)
    assert done.returncode == 1
    assert done.stdout == f"packaging/release: two dns-proxy-mac_*.deb and one macOS archive are needed in {packages}\n"
    assert not list(packages.glob("*.rb"))
