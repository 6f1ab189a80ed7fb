"""A copy of this machine's system to install a package in: the machine itself is only read.

What is written goes to memory. The copy can be booted: then its own systemd runs its services, of
which it has none but those that a test installs.
"""

import contextlib
import pathlib
import shutil
import subprocess
import tempfile

from harness import CannotTest, wait_until

ENTER = pathlib.Path(__file__).with_name("enter_system_copy")
INIT = "/lib/systemd/systemd"
TAKEN_PACKAGE = "/package.deb"
SERVICES_OF_THE_MACHINE = [
    "etc/systemd/system",
    "lib/systemd/system-generators",
    *(f"lib/systemd/system/{name}.target.wants" for name in ("sysinit", "multi-user", "timers", "local-fs", "basic")),
]
JOURNAL = """[Journal]
Storage=persistent
"""


def unified_control_groups():
    """Where the machine has them, beside those of the older kind or alone."""
    mounts = [line.split() for line in pathlib.Path("/proc/self/mounts").read_text().splitlines()]
    places = [fields[1] for fields in mounts if fields[2] == "cgroup2"]
    if not places:
        raise CannotTest("A system cannot be booted here: there are no control groups of version 2.")
    return pathlib.Path(places[0])


class Ended(Exception):
    """A command inside the copy ended with another status than 0; the text is what it printed."""


def _text(command, **arguments):
    done = subprocess.run(
        command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL, text=True, **arguments
    )
    if done.returncode != 0:
        raise Ended(f"{command[-3:]} ended with {done.returncode}: {done.stdout}")
    return done.stdout


def _name_of(process):
    """None when it is gone: on the way to its first process a copy has some that end at once."""
    try:
        return pathlib.Path(f"/proc/{process}/comm").read_text().strip()
    except (FileNotFoundError, ProcessLookupError):
        return None


def _mount(stack, kind, target, *options):
    """Mounts until the stack is left."""
    done = subprocess.run(
        ["mount", "-t", kind, *options, kind, target], stderr=subprocess.PIPE, encoding="utf-8", check=False
    )
    if done.returncode != 0:
        raise CannotTest(f"A system cannot be copied here: {done.stderr.strip()}.")
    stack.callback(subprocess.run, ["umount", target], check=True)


def need_a_copy_that_starts():
    """CannotTest, with the reason in one sentence, where a copy of this system cannot run even a command."""
    with SystemCopy() as system:
        try:
            system.run("true")
        except Ended as error:
            raise CannotTest(f"A system cannot be booted here: {str(error).strip().splitlines()[-1]}.") from None


class SystemCopy:
    """Gone, with what runs in it, at the end of the `with` block."""

    def __enter__(self):
        groups = unified_control_groups()
        self._starter = self._init = None
        with contextlib.ExitStack() as stack:
            self._memory = pathlib.Path(tempfile.mkdtemp(prefix="dns_proxy_mac-"))
            stack.callback(self._memory.rmdir)
            # Whoever ends a run by force can tell by the name what it has left.
            self._cgroup = groups / f"{self._memory.parent.parent.name}.{self._memory.name}"
            stack.callback(self._remove_control_groups)
            _mount(stack, "tmpfs", self._memory)
            for name in ("upper", "work", "root"):
                (self._memory / name).mkdir()
            self.root = self._memory / "root"
            layers = f"lowerdir=/,upperdir={self._memory}/upper,workdir={self._memory}/work"
            _mount(stack, "overlay", self.root, "-o", layers)
            stack.callback(self.halt)
            self._forget_the_machine()
            self._leave = stack.pop_all()
        return self

    def __exit__(self, *_):
        self._leave.close()

    def _remove_control_groups(self):
        if self._cgroup.exists():
            groups = [path for path in self._cgroup.rglob("*") if path.is_dir()]
            for group in [*sorted(groups, reverse=True), self._cgroup]:
                group.rmdir()

    def _has_processes(self):
        return "populated 1" in (self._cgroup / "cgroup.events").read_text()

    def _forget_the_machine(self):
        for name in SERVICES_OF_THE_MACHINE:
            shutil.rmtree(self.root / name, ignore_errors=True)
        (self.root / "etc/systemd/system").mkdir()
        (self.root / "etc/systemd/journald.conf").write_text(JOURNAL)
        for name in ("var/log/Varnok", "var/log/journal"):
            shutil.rmtree(self.root / name, ignore_errors=True)
        (self.root / "var/log/journal").mkdir()
        (self.root / "usr/sbin/policy-rc.d").unlink(missing_ok=True)
        (self.root / "var/lib/man-db/auto-update").unlink(missing_ok=True)  # it takes longer than all the rest

    def put(self, path, text):
        """The file `path` of the copy, as the programs inside name it, gets this content."""
        inside = self.file(path)
        inside.parent.mkdir(parents=True, exist_ok=True)
        new = inside.with_name(f".{inside.name}.new")
        new.write_text(text)
        new.replace(inside)

    def take(self, package):
        """The path inside of a package's copy: the file itself may be on a file system that is not copied."""
        shutil.copy(package, self.file(TAKEN_PACKAGE))
        return TAKEN_PACKAGE

    def file(self, path):
        return self.root / path.lstrip("/")

    def run(self, *command):
        """What a command prints inside; `Ended` when its status is not 0. Works booted and unbooted."""
        if self._init:
            # Without the root and the working directory a command may land in the machine's own root: a mount
            # namespace's root is not the copy's where this runs in a change of root.
            inside = ["nsenter", f"--target={self._init}", "--all", "--root", "--wd"]
            return _text([*inside, *command], env=_ENVIRONMENT)
        return _text([ENTER, self.root, self._cgroup, *command])

    def boot(self):
        log = (self._memory / "boot.log").open("wb")
        starter = subprocess.Popen(
            [ENTER, self.root, self._cgroup, INIT, "--system", "--unit=multi-user.target"],
            stdin=subprocess.DEVNULL, stdout=log, stderr=log,
        )
        log.close()
        self._starter = starter
        wait_until(self._find_init, "the start of the copy's first process")
        wait_until(lambda: self.state("multi-user.target") == "active", "the end of the boot")

    def _find_init(self):
        assert self._starter.poll() is None, (self._memory / "boot.log").read_text()
        children = pathlib.Path(f"/proc/{self._starter.pid}/task/{self._starter.pid}/children").read_text().split()
        self._init = next((int(child) for child in children if _name_of(child) == "systemd"), None)
        return self._init is not None

    def halt(self):
        if self._starter:
            self._starter.kill()
            self._starter.wait()
            wait_until(lambda: not self._has_processes(), "the end of the copy's processes")
            self._starter = self._init = None

    def state(self, unit):
        return self.value(unit, "ActiveState")

    def value(self, unit, name):
        """A property of a unit; empty while the copy's service manager cannot be asked."""
        try:
            return self.run("systemctl", "show", f"--property={name}", "--value", unit).strip()
        except Ended:
            return ""


_ENVIRONMENT = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin"}
