# The .deb of dns_proxy_upstream.

list(APPEND CPACK_COMPONENTS_ALL upstream)
set(CPACK_DEBIAN_UPSTREAM_PACKAGE_NAME dns-proxy-mac-upstream)
set(CPACK_DEBIAN_UPSTREAM_PACKAGE_RECOMMENDS "systemd (>= 250)")
set(CPACK_DEBIAN_UPSTREAM_PACKAGE_ENHANCES dns-proxy-mac)
set(CPACK_DEBIAN_UPSTREAM_PACKAGE_CONTROL_EXTRA
  "${CMAKE_CURRENT_SOURCE_DIR}/deb/upstream/postinst"
  "${CMAKE_CURRENT_SOURCE_DIR}/deb/upstream/prerm"
  "${CMAKE_CURRENT_SOURCE_DIR}/deb/upstream/postrm")
set(CPACK_DEBIAN_UPSTREAM_DESCRIPTION
"DNS servers that always answer, for dns-proxy-mac
Stands on 127.0.53.1, 127.0.53.2 and 127.0.53.3 between the proxy and the DNS
servers of the network, which it follows. It asks with random ids and ports,
again when nothing comes, and over TCP when a response is truncated. Where
there is no response the proxy is told so in time.")
