# What the steps of ./test are made of. To be sourced in the top folder; runs with privileges, in a step's
# own namespaces where the system has them.

me=test
. tools/machine.sh
. packaging/deb/flags.sh

# On macOS what the tests import is in an environment of the build folder.
python=/usr/bin/python3
[ ! -x build/python/bin/python3 ] || python=build/python/bin/python3
readonly python

folder_of() { if [ "$1" = release ]; then echo build; else echo "build/$1"; fi; }

# What users run is tested as the .deb has it, which then takes the same objects out of the compiler cache.
flags_of() {
  debian_flags=()
  [ "$1" != release ] || ! command -v dpkg-buildflags >/dev/null || cmake_flags_of_debian
}

# How many compilers a step may run: its share of the processors. More of them than processors take turns in the
# caches: six of them on two processors took 14 to 23 % more time than two.
share_of_processors() { echo $((($(processors) + ${LANES:-1} - 1) / ${LANES:-1})); }

# configure PRESET: once in a run of ./test, however many steps need it.
configure() {
  local said debian_flags done_already=${RUN_FOLDER:-}/configured-$1
  [ -z "${RUN_FOLDER:-}" ] || [ ! -e "$done_already" ] || return 0
  forget_moved_sources "$(folder_of "$1")"
  flags_of "$1" || return
  set -- cmake --preset "$1" ${debian_flags[@]:+"${debian_flags[@]}"}
  # Where the compiler has changed, CMake forgets all that the preset says, and needs to be told again.
  said=$("$@" 2>&1) && { [[ $said != *"variables have changed"* ]] || said=$("$@" 2>&1); } ||
    {
      echo "$said"
      return 1
    }
  [ -z "${RUN_FOLDER:-}" ] || touch "$done_already"
}

# locked NAME COMMAND...: one of those with this name at a time, of the steps that run side by side.
locked() {
  (
    mkdir -p build && exec {lock}>"build/$1.lock" || exit 1
    ! command -v flock >/dev/null || flock "$lock"
    "${@:2}"
  )
}

# build PRESET [TARGET...]: without targets, all of it.
build() { locked "$1" configure_and_build "$@"; }
configure_and_build() {
  configure "$1" && cmake --build "$(folder_of "$1")" -j "$(share_of_processors)" ${2:+--target "${@:2}"}
}

# with PRESET TARGET... -- COMMAND...: builds what the command tests, then runs it.
with() {
  local preset=$1 targets=()
  shift
  while [ "$1" != -- ]; do
    targets+=("$1")
    shift
  done
  shift
  build "$preset" "${targets[@]}" && "$@"
}

# unit_tests FOLDER [CTEST_OPTION...]: the tests that need nothing of their own but a build folder; as many at
# once as there are processors.
unit_tests() {
  ctest --test-dir "$1" -R '(unit_tests$|^fuzz_corpus_)' "${@:2}" -j "$(processors)" --output-on-failure --no-tests=error
}
# Without what has one thread and is in two other builds.
some_unit_tests() { unit_tests "$1" -E '(page|^fuzz_corpus_)'; }
# But for the tests that end a process of one thread at each of its steps: to begin the next takes the thread
# sanitizer longest of all.
unit_tests_of_threads() { GTEST_FILTER="-*WasEnded*" some_unit_tests "$@"; }

pytest() { "$python" -m pytest -q -p no:cacheprovider "$@"; }
# Files side by side: each process is in a network and a file tree of its own.
pytest_side_by_side() { pytest -n "$(processors)" "$@"; }
# The same against the program of a sanitizer build.
pytest_on() {
  DNS_PROXY_BINARY="$PWD/$1/dns_proxy_mac" pytest_side_by_side "${@:2}"
}
# For tests that mostly wait, for a silent server say.
pytest_waiting() { pytest -n $((3 * $(processors))) "$@"; }

# The companion's, but for three tests of memory, of which a sanitizer takes its own part.
companion_on() {
  DNS_PROXY_CTL="$PWD/$1/dns_proxy_ctl" pytest_on "$1" tests/companion \
    -k "not memory_that_the_system_refuses and not long_names_take_bounded_memory and not without_end_take_no_memory"
}

# But for the test in which dns_proxy_upstream has no part.
upstream_on() {
  DNS_PROXY_BINARY="$PWD/$1/dns_proxy_mac" DNS_PROXY_UPSTREAM_BINARY="$PWD/$1/dns_proxy_upstream" \
    pytest_waiting tests/upstream -k "not without_it_many_are_not"
}

# Under clang's sanitizers: the tests of the page without a browser.
page_on() {
  DNS_PROXY_PAGE="$PWD/$1/dns_proxy_page" DNS_PROXY_CTL="$PWD/$1/dns_proxy_ctl" pytest_on "$1" tests/page -k "not browser and not size"
}

# With a compiler and CMake alone: no GoogleTest, no benchmarks, no CLI11, no c-ares, no other generator.
build_plain() {
  local debian_flags
  forget_moved_sources build/plain
  # Flags and warnings as in the step build-gcc, whose objects a compiler cache then has already.
  flags_of release &&
    cmake -S . -B build/plain ${debian_flags[@]:+"${debian_flags[@]}"} -DWARNINGS_AS_ERRORS=ON \
      -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON \
      -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON -DCARES_LIBRARY=OFF -DCMAKE_DISABLE_FIND_PACKAGE_SQLite3=ON &&
    cmake --build build/plain -j "$(share_of_processors)" && test -x build/plain/dns_proxy_mac
}

# Every source file of the project, whichever folder it is in.
sources() { find . \( -path ./build -o -name node_modules \) -prune -o \( -name '*.cpp' -o -name '*.h' \) -print; }
# Of one version on every system: another one formats some lines otherwise, and finds other things.
check_format() { sources | xargs clang-format-14 --dry-run -Werror; }
check_workflows() { tools/workflows/check && pytest tests/workflows; }
# clang-tidy: the proxy's files with all checks, one by one. Those of all others together, as build-clang has them:
# most of its time goes into what they include. But the analyzer follows one function after the other and
# gains nothing by it: it looks at the files that judge what comes from outside.
readonly one_by_one=clang-analyzer-*,-clang-analyzer-valist.Uninitialized,bugprone-suspicious-include
tidy() {  # tidy PRESET CHECKS: the files of the standard input
  xargs -n 2 -P "$(share_of_processors)" clang-tidy-14 -p "build/$1" --quiet --checks="$2"
}
check_lint() {
  configure lint && locked clang configure clang &&
    sources | grep '^\./dns_proxy_mac/.*\.cpp$' | tidy lint '' &&
    sed -n "s|^ *\"file\": \"$PWD/\(.*\)\".*|\1|p" build/clang/compile_commands.json |
    grep -E '^build/clang/(common|companion|page|upstream)/.*/unity_|^(page|upstream)/' |
    tidy clang "-clang-analyzer-*,-bugprone-suspicious-include" &&
    sources | grep -E '^\./(common/(configuration|output|platform)|companion/(check|probe|status|watch))/.*\.cpp$' |
    tidy lint "-*,$one_by_one"
}
