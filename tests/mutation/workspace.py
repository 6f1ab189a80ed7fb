"""A copy of the tree with a build folder of its own, in which one mutation at a time is tried."""

import filecmp
import os
import pathlib
import re
import shutil
import subprocess
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
SPACES = ROOT / "build" / "mutation"
LEFT_OUT = {"build", ".git", "node_modules", "__pycache__", ".pytest_cache"}
FUZZ_TARGETS = sorted(folder.name for folder in (ROOT / "tests" / "fuzz" / "corpus").iterdir())

# With sanitizers, so that what mutants write out of bounds shows, with no memory zero by chance, and
# otherwise fast to compile and link. The lock's annotations are part of what keeps the threads apart,
# so the compiler is a test as well.
CONFIGURE = (
    "cmake", "-DCMAKE_CXX_COMPILER=clang++", "-DCMAKE_BUILD_TYPE=Debug", "-DSANITIZE=address,undefined",
    "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -ftrivial-auto-var-init=pattern -Werror=thread-safety -Wno-unused",
    "-DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON", "-DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON",
)  # fmt: skip
THREAD_SAFETY = re.compile(r"error: .*\[-Werror,-Wthread-safety")
FAILED_TEST = re.compile(r"^(?:\[  FAILED  \] |FAILED |ERROR )(\S+)|(does not hold: .*)", re.MULTILINE)
SANITIZER_OPTIONS = {
    "ASAN_OPTIONS": "max_malloc_fill_size=100000:allocator_may_return_null=1",
    "LSAN_OPTIONS": "suppressions={tree}/tests/suppressions/lsan.txt:print_suppressions=0",
    "DNS_PROXY_DEADLINE": "10",
}

# All processes below the first end with it: a mutant may fork or never stop. It may also send to
# anybody, so its network has no way out; a trace without end meets the limit of a file's size. The
# tests send signals that a shell has its background jobs ignore.
TOGETHER = ("unshare", "--pid", "--fork", "--kill-child", "--mount-proc")
ISOLATED = (
    *TOGETHER, "--net", "env", "--default-signal", "bash", "-c", 'ulimit -f 200000 -c 0; ip link set lo up && exec "$@"', "mutant",
)  # fmt: skip
BUILD_SECONDS = 900
SUITE_SECONDS = {"the unit tests": 60, "the fuzz corpora": 60, "the transcripts": 180, "the end-to-end tests": 600}


class BuildFailed(Exception):
    """A tree that ought to build and pass does not; the text is one sentence."""


class Workspace:
    def __init__(self, number):
        self.tree = SPACES / str(number) / "tree"
        self.build = SPACES / str(number) / "build"
        self.log = SPACES / str(number) / "log"
        self.tree.mkdir(parents=True, exist_ok=True)
        make_same(ROOT, self.tree)

    def build_unmutated(self):
        status = self._run((*CONFIGURE, "-S", self.tree, "-B", self.build), BUILD_SECONDS)
        fuzz_targets = [f"fuzz_{target}" for target in FUZZ_TARGETS]
        if status != 0 or self._make("unit_tests", "dns_proxy_mac", *fuzz_targets) != 0:
            raise BuildFailed(f"the tree does not build without a mutation: see {self.log}")

    def check_unmutated(self):
        for suite, run_suite in self._suites():
            noticed = run_suite()
            if noticed:
                raise BuildFailed(f"{suite} fail without a mutation ({noticed}): see {self.log}")

    def try_mutation(self, mutation):
        """Which suite caught the mutation, and how; None when it survived."""
        path = mutation.path(self.tree)
        unmutated = path.read_text()
        path.write_text(unmutated.replace(mutation.old, mutation.new))
        try:
            for suite, run_suite in self._suites():
                noticed = run_suite()
                if noticed:
                    return f"{suite} ({noticed})"
            return None
        except BuildFailed as error:
            raise BuildFailed(f"'{mutation.title()}': {error}") from error
        finally:
            path.write_text(unmutated)

    def _suites(self):
        """Each suite's name and a call that tells how it failed: "" when it passed."""
        return (
            ("the compiler", self._compile),
            ("the transcripts", lambda: self._pytest("the transcripts", "tests/transcripts")),
            ("the unit tests", self._unit_tests),
            ("the fuzz corpora", self._fuzz_corpora),
            ("the end-to-end tests", lambda: self._pytest("the end-to-end tests", "tests/e2e")),
        )

    # The proxy alone, and after it the tests that need nothing else: where a header is changed, the unit
    # tests take far longer to compile than all of them to run.
    def _compile(self):
        if self._make("dns_proxy_mac") == 0:
            return ""
        if THREAD_SAFETY.search(self.log.read_text(errors="replace")):
            return "-Wthread-safety"
        raise BuildFailed(f"it does not compile: see {self.log}")

    def _unit_tests(self):
        if self._make("unit_tests") != 0:
            raise BuildFailed(f"the unit tests do not build: see {self.log}")
        program = self.build / "tests" / "unit" / "unit_tests"
        return self._suite("the unit tests", self.tree / "tests" / "in_namespace", program)

    def _fuzz_corpora(self):
        if self._make(*(f"fuzz_{target}" for target in FUZZ_TARGETS)) != 0:
            raise BuildFailed(f"the fuzz targets do not build: see {self.log}")
        for target in FUZZ_TARGETS:
            program = self.build / "tests" / "fuzz" / f"fuzz_{target}"
            corpus = self.tree / "tests" / "fuzz" / "corpus" / target
            noticed = self._suite("the fuzz corpora", program, corpus)
            if noticed:
                return f"{target}, {noticed}"
        return ""

    def _pytest(self, suite, folder):
        command = ("/usr/bin/python3", "-m", "pytest", "-x", "-q", "-p", "no:cacheprovider", folder)
        return self._suite(suite, *command)

    def _suite(self, suite, *command):
        status = self._run((*ISOLATED, *command), SUITE_SECONDS[suite])
        if status == 0:
            return ""
        if status is None:
            return "time limit"
        failed = FAILED_TEST.search(self.log.read_text(errors="replace"))
        return (failed.group(1) or failed.group(2)) if failed else f"status {status}"

    def _make(self, *targets):
        return self._run((*TOGETHER, "cmake", "--build", self.build, "--target", *targets), BUILD_SECONDS)

    def _run(self, command, seconds):
        """The status of the command, None when it was ended at its time limit. Its output: the log."""
        options = {name: value.format(tree=self.tree) for name, value in SANITIZER_OPTIONS.items()}
        environment = {**os.environ, **options, "DNS_PROXY_BINARY": str(self.build / "dns_proxy_mac")}
        with self.log.open("wb") as log, tempfile.TemporaryFile() as no_input:
            process = subprocess.Popen(
                [str(part) for part in command],
                cwd=self.tree, env=environment, stdin=no_input, stdout=log, stderr=subprocess.STDOUT,
            )  # fmt: skip
            try:
                return process.wait(seconds)
            except subprocess.TimeoutExpired:
                return None
            finally:
                if process.returncode is None:
                    process.kill()
                    process.wait()


def make_same(source, copy):
    """Makes `copy` equal to `source`, a file or folder, and leaves what is equal already untouched, so
    that only what has changed is built again."""
    if source.is_dir():
        copy.mkdir(exist_ok=True)
        names = {path.name for path in source.iterdir()} - LEFT_OUT
        for path in copy.iterdir():
            if path.name not in names:
                shutil.rmtree(path) if path.is_dir() else path.unlink()
        for name in names:
            make_same(source / name, copy / name)
    elif not copy.exists() or not filecmp.cmp(source, copy, shallow=False):
        shutil.copyfile(source, copy)
        shutil.copymode(source, copy)
