"""The programs and service files as `cmake --install` lays them down below a prefix, and what they say."""

import pathlib
import plistlib
import re
import shlex
import shutil
import subprocess
import tempfile

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
BUILD = REPOSITORY / "build/deb"
UNITS = "lib/systemd/system"


class Unit:
    """A systemd unit file. `get` takes the last line of a key, `all` every one."""

    def __init__(self, path):
        self.path = path
        self._lines = []
        for line in path.read_text(encoding="ascii").splitlines():
            if line.startswith("["):
                section = line.strip("[]")
            elif line and not line.startswith("#"):
                key, value = line.split("=", 1)
                self._lines.append((section, key, value))

    def all(self, section, key):
        return [value for at, name, value in self._lines if (at, name) == (section, key)]

    def get(self, section, key):
        return self.all(section, key)[-1]

    def command(self, key):
        return shlex.split(self.get("Service", key))


class Installation:
    """A prefix that every user may read, gone with the `with` block."""

    def __enter__(self):
        self.prefix = pathlib.Path(tempfile.mkdtemp(prefix="dns_proxy_mac-"))
        self.prefix.chmod(0o755)
        command = ["cmake", "--install", BUILD, "--prefix", self.prefix]
        try:
            subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
        except subprocess.CalledProcessError:
            shutil.rmtree(self.prefix)
            raise
        return self

    def __exit__(self, *_):
        shutil.rmtree(self.prefix)

    def unit(self, name):
        return Unit(self.prefix / UNITS / name)

    def files(self):
        found = (path for path in self.prefix.rglob("*") if not path.is_dir())
        return sorted(str(path.relative_to(self.prefix)) for path in found)


def with_higher_version(package, directory):
    """The same package as its next version, in a folder."""
    tree = directory / "tree"
    subprocess.run(["dpkg-deb", "--raw-extract", package, tree], check=True)
    control = tree / "DEBIAN/control"
    control.write_text(re.sub(r"^Version: .*$", "Version: 99.0", control.read_text(), flags=re.MULTILINE))
    subprocess.run(["dpkg-deb", "--build", tree, directory], check=True, stdout=subprocess.DEVNULL)
    [file] = directory.glob("*.deb")
    return file


def launchd_files(directory, prefix):
    """Fills the launchd files in for programs below `prefix`, into `directory`; the plists by their labels."""
    templates = sorted((REPOSITORY / "packaging/launchd").glob("*.in"))
    paths = {"BINDIR": "bin", "SBINDIR": "sbin", "LIBEXECDIR": "libexec"}
    values = [f"-DFULL_{name}={prefix}/{below}" for name, below in paths.items()]
    values += [f"-DTEMPLATES={';'.join(map(str, templates))}", f"-DOUTPUT_DIRECTORY={directory}"]
    subprocess.run(["cmake", *values, "-P", REPOSITORY / "packaging/fill_in.cmake"], check=True)
    plists = [plistlib.loads(path.read_bytes()) for path in directory.glob("*.plist")]
    return {plist["Label"]: plist for plist in plists}
