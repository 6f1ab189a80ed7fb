# The .deb: `cpack` in the build folder, or deb/build for one that is built as Debian builds its own.

find_program(GZIP gzip)
set(documents "${CMAKE_INSTALL_DATAROOTDIR}/doc/dns-proxy-mac")
set(changelog "${CMAKE_CURRENT_BINARY_DIR}/changelog.gz")
if(NOT GZIP)
  return()
endif()
add_custom_command(OUTPUT "${changelog}"
  COMMAND ${GZIP} -9nc "${CMAKE_CURRENT_SOURCE_DIR}/deb/changelog" > "${changelog}"
  DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/deb/changelog" VERBATIM)
add_custom_target(deb_changelog ALL DEPENDS "${changelog}")
install(FILES "${changelog}" deb/copyright DESTINATION "${documents}")
foreach(part upstream page)
  if(TARGET dns_proxy_${part})
    install(FILES "${changelog}" deb/copyright DESTINATION "${documents}-${part}" COMPONENT ${part})
  endif()
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_OUTPUT_FILE_PREFIX "${CMAKE_BINARY_DIR}/packages")
# Under DESTDIR, so that the rules see the prefix that the files will have in the end.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_NAME dns-proxy-mac)
# One package for each part that people may want or not.
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL Unspecified)
set(CPACK_DEBIAN_UNSPECIFIED_PACKAGE_NAME dns-proxy-mac)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_VENDOR "dns_proxy_mac maintainers")
set(CPACK_PACKAGE_CONTACT "dns_proxy_mac maintainers <maintainers@dns-proxy-mac.example>")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "adduser, init-system-helpers (>= 1.54)")
set(CPACK_DEBIAN_UNSPECIFIED_PACKAGE_RECOMMENDS "systemd (>= 250), dns-proxy-mac-upstream")
set(CPACK_DEBIAN_UNSPECIFIED_PACKAGE_CONTROL_EXTRA
  "${CMAKE_CURRENT_SOURCE_DIR}/deb/postinst"
  "${CMAKE_CURRENT_SOURCE_DIR}/deb/prerm"
  "${CMAKE_CURRENT_SOURCE_DIR}/deb/postrm")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_UNSPECIFIED_DESCRIPTION
"local DNS forwarding proxy with a host map
Answers DNS queries on 127.0.0.1 port 53: names of a host map by itself, all
others by asking the configured servers one after the other until one has an
answer. It keeps no cache, sets no timers and traces every event.
.
With it come a companion program that checks the configuration, asks the
proxy, reads its trace and has it restarted, and the service files for that.")
foreach(part upstream page)
  if(TARGET dns_proxy_${part})
    include("${CMAKE_CURRENT_SOURCE_DIR}/deb/${part}/package.cmake")
  endif()
endforeach()
include(CPack)
