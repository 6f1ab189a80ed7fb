# The tools of LLVM that can read macOS programs, whatever version's name they have here. To be sourced.

# Prints the command for llvm's tool $1, for example lipo.
llvm_tool() {
  local name
  for name in "llvm-$1" "llvm-$1"-{22,21,20,19,18,17,16,15,14}; do
    command -v "$name" && return
  done
  echo "llvm-$1 is missing: install llvm" >&2
  return 1
}
