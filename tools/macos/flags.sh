# How everything for macOS is compiled, whichever program it is. To be sourced, from the top folder.

# The oldest macOS that the programs run on: what the cross compiler's libraries allow.
readonly oldest_macos=13.0

# Nothing of the folder that it was built in stays in a program: the same sources give the same bytes anywhere.
macos_flags=(-std=c++17 -O2 -s -ffile-prefix-map="$PWD=.")

# The target of a machine, x86_64 or arm64, as the compiler names it.
macos_target() { echo "${1/arm64/aarch64}-macos.$oldest_macos"; }
