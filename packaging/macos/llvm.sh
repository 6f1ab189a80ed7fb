# The tools of LLVM that can read macOS programs, whatever version's name they have here, and what they must find
# in one. To be sourced after tools/macos/flags.sh; complain SENTENCE... is the caller's.

# Prints the command for llvm's tool $1, for example lipo.
llvm_tool() {
  local name
  for name in "llvm-$1" "llvm-$1"-{22,21,20,19,18,17,16,15,14}; do
    command -v "$name" && return
  done
  echo "llvm-$1 is missing: install llvm" >&2
  return 1
}

# A program at any address, for the oldest macOS and later, signed where the machine runs nothing else.
verify_headers() {  # of program $1 for machine $2
  local headers
  headers=$("$(llvm_tool objdump)" --macho --arch="$2" --private-headers "$1")
  grep -Eq ' EXECUTE .* PIE( |$)' <<<"$headers" || complain "$2: no program that can lie at any address"
  grep -Eq '^ *platform macos$' <<<"$headers" || complain "$2: not for macOS"
  grep -Eq "^ *minos ${oldest_macos/./\\.}$" <<<"$headers" || complain "$2: not for macOS $oldest_macos and later"
  [ "$2" != arm64 ] || grep -q 'cmd LC_CODE_SIGNATURE' <<<"$headers" || complain "$2: not signed"
}

# Prints the libraries that program $1 for machine $2 needs.
libraries_of() {
  "$(llvm_tool otool)" -arch "$2" -L "$1" | awk '/compatibility version/ { print $1 }'
}

# No library but those in the rest.
verify_libraries() {  # of program $1 for machine $2
  local library
  while read -r library; do
    [[ " ${*:3} " == *" $library "* ]] || complain "$2: needs $library"
  done < <(libraries_of "$1" "$2")
}
