# The .deb of dns_proxy_page.

list(APPEND CPACK_COMPONENTS_ALL page)
set(CPACK_DEBIAN_PAGE_PACKAGE_NAME dns-proxy-mac-page)
set(CPACK_DEBIAN_PAGE_PACKAGE_RECOMMENDS "systemd (>= 250), dns-proxy-mac")
set(CPACK_DEBIAN_PAGE_PACKAGE_ENHANCES dns-proxy-mac)
set(CPACK_DEBIAN_PAGE_PACKAGE_CONTROL_EXTRA
  "${CMAKE_CURRENT_SOURCE_DIR}/deb/page/postinst"
  "${CMAKE_CURRENT_SOURCE_DIR}/deb/page/prerm"
  "${CMAKE_CURRENT_SOURCE_DIR}/deb/page/postrm")
set(CPACK_DEBIAN_PAGE_DESCRIPTION
"page that shows what dns-proxy-mac does, and remembers it
Follows the proxy's trace and serves a page on 127.0.0.1 port 5380: the state
of the moment, counts and answer times over a year, and the single queries of
the last 24 hours, to be searched. Nothing of it leaves the host.")
