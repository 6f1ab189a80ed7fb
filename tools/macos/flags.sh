# How everything for macOS is compiled, whichever program it is. To be sourced, from the top folder, after
# tools/machine.sh.

# The oldest macOS that the programs run on: what the cross compiler's libraries allow.
readonly oldest_macos=13.0
readonly macos_machines=(x86_64 arm64)

# Nothing of the folder that it was built in stays in a program: the same sources give the same bytes anywhere.
macos_flags=(-std=c++17 -O2 -s -ffile-prefix-map="$PWD=.")

# The last: macOS's headers mark some of their pointers and not others.
readonly macos_warnings=(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2 -Wthread-safety -Werror
  -Wno-nullability-completeness)

# The target of a machine, x86_64 or arm64, as the compiler names it.
macos_target() { echo "${1/arm64/aarch64}-macos.$oldest_macos"; }

# Where Homebrew is on a machine.
homebrew_of() { if [ "$1" = arm64 ]; then echo /opt/homebrew; else echo /usr/local; fi; }

# Runs a command whose output is of interest when it fails. A warning that does not end it is a failure too, but
# for those about the compiler's own libraries, which it compiles at their first use.
quietly() {
  local log=$1
  shift
  "$@" >"$log" 2>&1 || {
    tail -n 60 "$log" >&2
    die "failed: see $log"
  }
  ! grep 'warning: ' "$log" | grep -v '/node_modules/@zigc/' >&2 || die "warnings: see $log"
}

# Calls a function for both machines, side by side.
for_both_machines() {
  local machine processes=() process status=0
  for machine in "${macos_machines[@]}"; do
    "$@" "$machine" &
    processes+=($!)
  done
  for process in "${processes[@]}"; do wait "$process" || status=1; done
  return "$status"
}
