# What Debian's own packages are compiled and linked with, in an array for cmake. To be sourced in the top folder.
# Without debug information, which the packages do not keep, and which takes a quarter of the compiler's time.

cmake_flags_of_debian() {
  local -x DEB_BUILD_MAINT_OPTIONS=hardening=+all
  local compiler linker
  # The flag that names this folder could not be told from two.
  [[ $PWD != *[[:space:]]* ]] || DEB_BUILD_MAINT_OPTIONS+=" reproducible=-fixfilepath"
  compiler="$(dpkg-buildflags --get CPPFLAGS) $(dpkg-buildflags --get CXXFLAGS)" &&
    linker=$(dpkg-buildflags --get LDFLAGS) || return
  debian_flags=("-DCMAKE_CXX_FLAGS=${compiler/ -g / }" "-DCMAKE_EXE_LINKER_FLAGS=$linker")
}
