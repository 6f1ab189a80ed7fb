# What the steps of ./test are made of. To be sourced in the top folder; runs with privileges, in a step's
# own namespaces where the system has them.

me=test
. tools/machine.sh

# On macOS what the tests import is in an environment of the build folder.
python=/usr/bin/python3
[ ! -x build/python/bin/python3 ] || python=build/python/bin/python3
readonly python

configure() {  # PRESET
  local folder=build/$1
  [ "$1" != release ] || folder=build
  forget_moved_sources "$folder"
  # Where the compiler has changed, CMake forgets all that the preset says, and needs to be told again.
  local said
  said=$(cmake --preset "$1" 2>&1) && { [[ $said != *"variables have changed"* ]] || said=$(cmake --preset "$1" 2>&1); } ||
    {
      echo "$said"
      return 1
    }
}

# build PRESET [TARGET...]: without targets, all of it.
build() {
  local targets=("${@:2}")
  configure "$1" && cmake --build --preset "$1" -j "$(processors)" ${targets[@]:+--target "${targets[@]}"}
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

# The tests that need nothing of their own but a build folder; as many at once as there are processors.
unit_tests() {
  ctest --test-dir "$1" -R '(unit_tests$|^fuzz_corpus_)' -j "$(processors)" --output-on-failure --no-tests=error
}

pytest() { "$python" -m pytest -q -p no:cacheprovider "$@"; }
# Files side by side: each process is in a network and a file tree of its own.
pytest_side_by_side() { pytest -n "$(processors)" "$@"; }
# The same against the program of a sanitizer build, which is slower.
pytest_on() {
  DNS_PROXY_BINARY="$PWD/$1/dns_proxy_mac" DNS_PROXY_DEADLINE=30 pytest_side_by_side "${@:2}"
}

# The companion's, but for two tests of memory, of which a sanitizer takes its own part.
companion_on() {
  DNS_PROXY_CTL="$PWD/$1/dns_proxy_ctl" pytest_on "$1" tests/companion \
    -k "not memory_that_the_system_refuses and not long_names_take_bounded_memory"
}

upstream_on() {
  DNS_PROXY_UPSTREAM_BINARY="$PWD/$1/dns_proxy_upstream" pytest_on "$1" tests/upstream
}

# Under clang's sanitizers: the tests of the page without a browser.
page_on() {
  "$1/tests/page/page_unit_tests" && DNS_PROXY_BINARY="$PWD/$1/dns_proxy_mac" DNS_PROXY_PAGE="$PWD/$1/dns_proxy_page" DNS_PROXY_DEADLINE=30 \
    tests/page/run -k "not browser and not size"
}

# With a compiler and CMake alone: no GoogleTest, no benchmarks, no CLI11, no c-ares, no other generator.
build_plain() {
  forget_moved_sources build/plain
  # Warnings as in the other builds, whose objects a compiler cache then has already.
  cmake -S . -B build/plain -DWARNINGS_AS_ERRORS=ON -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON \
    -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON \
    -DCARES_LIBRARY=OFF -DCMAKE_DISABLE_FIND_PACKAGE_SQLite3=ON &&
    cmake --build build/plain -j "$(processors)" && test -x build/plain/dns_proxy_mac
}

# Every source file of the project, whichever folder it is in.
sources() { find . \( -path ./build -o -name node_modules \) -prune -o \( -name '*.cpp' -o -name '*.h' \) -print; }
# Of one version on every system: another one formats some lines otherwise, and finds other things.
check_format() { sources | xargs clang-format-14 --dry-run -Werror; }
check_workflows() { tools/workflows/check && pytest tests/workflows; }
linted() {
  sources | grep -E '^\./(dns_proxy_mac|common/(configuration|output|platform)|companion/(check|probe|status|watch))/.*\.cpp$'
}
check_lint() {
  configure clang &&
    linted | xargs -n 3 -P "$(processors)" clang-tidy-14 -p build/clang --quiet
}
