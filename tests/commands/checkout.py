"""A copy of this checkout in which ./run and ./test are run, with stand-ins for tools where the tools are not
the point. What a stand-in compiles is a shell script that says its name."""

import os
import pathlib
import shutil
import subprocess

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
LEFT_OUT = shutil.ignore_patterns("build", ".git", "node_modules", "__pycache__", ".pytest_cache")
SECONDS = 900  # a whole run starts each of some forty steps

# Configures and builds nothing: each target that is asked for becomes a script.
CMAKE = """\
echo "cmake $*" >>"$STAND_INS/asked"
case $1 in
  --build) ;;
  *)
    mkdir -p build
    echo "CMAKE_HOME_DIRECTORY:INTERNAL=$PWD" >build/CMakeCache.txt
    echo 'CLI11_DIR:PATH=/usr/share/cmake/CLI11' >>build/CMakeCache.txt
    exit 0 ;;
esac
while [ $# -gt 0 ]; do
  if [ "$1" = --target ]; then
    printf '#!/bin/sh\\necho "%s was started"\\n' "$2" >"build/$2"
    chmod +x "build/$2"
  fi
  shift
done
"""
FAILING_CMAKE = """\
echo "cmake $*" >>"$STAND_INS/asked"
case $1 in --build) echo 'local_query_intake.cpp:1: error: #error' ; exit 2 ;; esac
"""
NOTHING_TO_INSTALL = "exit 0"
OFF_LINE = 'echo "E: Could not resolve the host" >&2; exit 100'


class Checkout:
    def __init__(self, folder):
        self.top = folder / "checkout"
        shutil.copytree(REPOSITORY, self.top, ignore=LEFT_OUT, symlinks=True)
        folder.chmod(0o755)
        self.build = self.top / "build"
        self.home = folder / "home"
        self.home.mkdir()
        self.stand_ins = folder / "stand_ins"
        self.stand_ins.mkdir()
        self.stand_in("cmake", CMAKE)
        self.stand_in("apt-get", NOTHING_TO_INSTALL)

    def stand_in(self, name, script):
        """From now on `name` is this shell script to the commands; None: as if it were not installed."""
        path = self.stand_ins / name
        if script is None:
            script = "exit 127"
        path.write_text(f"#!/bin/bash\n{script}\n")
        path.chmod(0o755)

    def asked_of_cmake(self):
        asked = self.stand_ins / "asked"
        return asked.read_text().splitlines() if asked.exists() else []

    def old_program(self, name="dns_proxy_mac"):
        """A program that an earlier build has left."""
        self.build.mkdir(exist_ok=True)
        program = self.build / name
        program.write_text('#!/bin/sh\necho "an old program was started"\n')
        program.chmod(0o755)

    def environment(self, path=None):
        path = path or f"{self.stand_ins}:/usr/sbin:/usr/bin:/sbin:/bin"
        kept = {name: os.environ[name] for name in ("TMPDIR",) if name in os.environ}
        return {**kept, "PATH": path, "HOME": str(self.home), "STAND_INS": str(self.stand_ins), "LC_ALL": "C.UTF-8"}

    def run(self, *command, path=None, wrapper=(), **options):
        """One run to its end: status, and output and errors as one text. Commands are named from the top folder."""
        options.setdefault("cwd", self.top)
        return subprocess.run(
            [*wrapper, *map(str, command)], env=self.environment(path), stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, encoding="utf-8", timeout=SECONDS, check=False, **options,
        )  # fmt: skip

    def without(self, *names):
        """A PATH on which everything of this machine is but these."""
        folder = self.stand_ins.with_name("without")
        folder.mkdir()
        for place in ("/usr/sbin", "/usr/bin", "/sbin", "/bin"):
            for program in pathlib.Path(place).iterdir():
                link = folder / program.name
                if program.name not in names and not link.is_symlink():
                    link.symlink_to(program)
        return f"{self.stand_ins}:{folder}"
