# What the scripts that fuzz have in common. To be sourced in the top folder; `me` is the script's name.

readonly build=build/asan

fail() {
  echo "$me: $1" >&2
  exit 1
}

check_seconds() {
  [[ $1 =~ ^[1-9][0-9]{0,6}$ ]] || fail "the seconds per target are a whole number from 1 to 9999999, not '$1'"
}

build_targets() {
  command -v cmake >/dev/null || fail "cmake is not installed"
  command -v clang++ >/dev/null || fail "clang++ is not installed (Debian: clang libclang-rt-dev)"
  echo 'extern "C" int LLVMFuzzerTestOneInput(const char*, unsigned long) { return 0; }' |
    clang++ -fsanitize=fuzzer,address -x c++ -o /dev/null - 2>/dev/null ||
    fail "clang++ has no libFuzzer or sanitizers (Debian: libclang-rt-dev)"
  mkdir -p "$build" 2>/dev/null && [ -w "$build" ] || fail "$build cannot be written"
  local log=$build/fuzz_build_$1.log
  (. tools/testing/commands.sh && build asan "$@") >"$log" 2>&1 || fail "the build failed: see $log"
}

# fuzz NAME PROGRAM CORPUS SECONDS OPTION...: starts from the corpus and from what earlier runs have found. The
# sanitizers' slower habits, a long memory for freed blocks and deep stacks, are cut short.
fuzz() {
  local name=$1 program=$2 corpus=$3 seconds=$4 log=$build/fuzz_$1.log
  mkdir -p "$build/corpus/$name" "$build/findings/$name"
  if ! ASAN_OPTIONS=quarantine_size_mb=4:malloc_context_size=5 \
    "$build/$program" -max_total_time="$seconds" -timeout=5 -print_final_stats=1 "${@:5}" \
    -artifact_prefix="$build/findings/$name/" "$build/corpus/$name" "$corpus" >"$log" 2>&1; then
    grep -E 'does not hold|ERROR:|SUMMARY:|runtime error|Test unit written' "$log" >&2 || tail "$log" >&2
    echo "$name: a finding, see $log" >&2
    return 1
  fi
  awk -v name="$name" '
    /number_of_executed_units/ { runs = $2 }
    /average_exec_per_sec/ { rate = $2 }
    END { printf "%s: %d executions, %d a second, no finding\n", name, runs, rate }' "$log"
}

# side_by_side COMMAND NAME...: the command for each name, at most as many at once as there are processors.
side_by_side() {
  local name job jobs=() free status=0
  free=$(getconf _NPROCESSORS_ONLN)
  for name in "${@:2}"; do
    if [ "$free" -gt 0 ]; then
      free=$((free - 1))
    else
      wait "${jobs[0]}" || status=1
      jobs=("${jobs[@]:1}")
    fi
    "$1" "$name" &
    jobs+=($!)
  done
  for job in "${jobs[@]}"; do wait "$job" || status=1; done
  return "$status"
}
