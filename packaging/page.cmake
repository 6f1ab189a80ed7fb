# dns_proxy_page and its service, a package of its own.

set(part page)
install(TARGETS dns_proxy_page RUNTIME DESTINATION "${CMAKE_INSTALL_SBINDIR}" COMPONENT ${part})
install_manual(8 dns_proxy_page)
if(APPLE)
  install_filled_in(PROGRAM "${CMAKE_INSTALL_LIBEXECDIR}/dns_proxy_mac" launchd/start_page.in)
  install_filled_in(FILE /Library/LaunchDaemons launchd/local.dns_proxy_page.plist.in)
else()
  install_filled_in(FILE lib/systemd/system systemd/dns_proxy_page.service.in)
  install(FILES systemd/page_user.conf DESTINATION lib/sysusers.d RENAME dns_proxy_page.conf
    COMPONENT ${part})
endif()
set(part Unspecified)
