# Writes each of TEMPLATES (x.in) into OUTPUT_DIRECTORY (x) with the full paths of one installation:
# FULL_BINDIR, FULL_SBINDIR, FULL_LIBEXECDIR; and SANDBOX, the lines that all units have in common.
# Included by the install rules, or run by cmake -P.

file(READ "${CMAKE_CURRENT_LIST_DIR}/systemd/sandbox.conf" SANDBOX)
string(STRIP "${SANDBOX}" SANDBOX)
foreach(template IN LISTS TEMPLATES)
  get_filename_component(name "${template}" NAME)
  string(REGEX REPLACE "\\.in$" "" name "${name}")
  configure_file("${template}" "${OUTPUT_DIRECTORY}/${name}" @ONLY)
endforeach()
