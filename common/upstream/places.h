#pragma once

#include <cstddef>

// Where dns_proxy_upstream is found: by the proxy, by people and by dns_proxy_ctl.

namespace upstream {

/// The addresses that it answers on, UDP port 53, each in the place of one server.
inline constexpr const char* kListenAddresses[] = {"127.0.53.1", "127.0.53.2", "127.0.53.3"};
inline constexpr std::size_t kMostServers = 3;

/// Which servers it asks; people write it.
inline constexpr const char* kServersFile = "/var/log/Varnok/servers";

/// What it tells of its servers, in the form of state_text.h, at most a second old while it is
/// used.
#ifdef __APPLE__
inline constexpr const char* kStateFile = "/var/run/dns_proxy_upstream/state";
#else
inline constexpr const char* kStateFile = "/run/dns_proxy_upstream/state";
#endif

/// What `dns_proxy_ctl on` has to remember of the host.
#ifdef __APPLE__
inline constexpr const char* kHostStateFolder = "/var/db/dns_proxy_mac";
inline constexpr const char* kServersBefore = "/var/db/dns_proxy_mac/servers_before";
#else
inline constexpr const char* kHostStateFolder = "/var/lib/dns_proxy_mac";
/// The servers that the host asked before it was told to ask the proxy, as a resolver file.
inline constexpr const char* kServersBefore = "/var/lib/dns_proxy_mac/servers_before";
#endif

}  // namespace upstream
