# The libraries that programs for macOS are linked to, which Homebrew has there. Here their headers come from
# Debian's packages, and a text that lists what the library exports takes the library's place for the linker, as
# Apple's own development kit does it. To be sourced after flags.sh.

readonly library_packages=(libcli11-dev libc-ares-dev libsqlite3-dev libidn2-dev nlohmann-json3-dev)
readonly headers=$PWD/build/macos/include

# Without what else is in the folder beside them, which is this system's.
copy_headers_alone() {
  local name
  mkdir -p "$headers"
  for name in CLI nlohmann; do
    [ ! -d "/usr/include/$name" ] || cp -R "/usr/include/$name" "$headers/"
  done
  find /usr/include \( -name 'ares*.h' -o -name sqlite3.h -o -name idn2.h \) -exec cp {} "$headers/" \;
}

# write_library MACHINE NAME FORMULA FILE: Debian's library NAME says what is exported, and Homebrew's FORMULA
# has it as FILE.
write_library() {
  local target=$1-macos ours
  ours=$(ls /usr/lib/*/"lib$2.so" | head -n 1)
  {
    printf -- '--- !tapi-tbd\ntbd-version: 4\ntargets: [ %s ]\n' "$target"
    printf "install-name: '%s/opt/%s/lib/%s'\n" "$(homebrew_of "$1")" "$3" "$4"
    printf 'exports:\n  - targets: [ %s ]\n    symbols: [ ' "$target"
    "$(llvm_tool nm)" --dynamic --defined-only --format=just-symbols "$ours" | sed 's/@.*//; s/^/_/' | LC_ALL=C sort -u | paste -sd,
    printf '    ]\n...\n'
  } >"build/macos/$1/libraries/lib$2.tbd"
}

write_libraries() {  # for machine $1
  . packaging/macos/llvm.sh
  mkdir -p "build/macos/$1/libraries"
  write_library "$1" cares c-ares libcares.2.dylib
  write_library "$1" sqlite3 sqlite libsqlite3.dylib
  write_library "$1" idn2 libidn2 libidn2.0.dylib
  write_package CLI11 CLI11::CLI11
  write_package nlohmann_json nlohmann_json::nlohmann_json
}

write_package() {  # for CMake: $1 whose headers are target $2
  cat >"build/macos/include/$1Config.cmake" <<END
add_library($2 INTERFACE IMPORTED)
set_target_properties($2 PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "$headers")
END
}

library_settings() {  # CMake's, for machine $1
  local libraries=$PWD/build/macos/$1/libraries
  echo "-DCLI11_DIR=$headers -Dnlohmann_json_DIR=$headers" \
    "-DCARES_INCLUDE_DIR=$headers -DCARES_LIBRARY=$libraries/libcares.tbd" \
    "-DSQLite3_INCLUDE_DIR=$headers -DSQLite3_LIBRARY=$libraries/libsqlite3.tbd" \
    "-DLIBIDN2_INCLUDE_DIR=$headers -DLIBIDN2_LIBRARY=$libraries/libidn2.tbd"
}
