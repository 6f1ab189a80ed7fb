# dns_proxy_upstream and its service, a package of its own.

set(part upstream)
install(TARGETS dns_proxy_upstream RUNTIME DESTINATION "${CMAKE_INSTALL_SBINDIR}" COMPONENT ${part})
install_manual(8 dns_proxy_upstream)
if(APPLE)
  install_filled_in(PROGRAM "${CMAKE_INSTALL_LIBEXECDIR}/dns_proxy_mac" launchd/start_upstream.in)
  install_filled_in(FILE /Library/LaunchDaemons launchd/local.dns_proxy_upstream.plist.in)
else()
  install_filled_in(FILE lib/systemd/system systemd/dns_proxy_upstream.service.in)
  install(FILES systemd/upstream_user.conf DESTINATION lib/sysusers.d RENAME dns_proxy_upstream.conf
    COMPONENT ${part})
endif()
set(part Unspecified)
