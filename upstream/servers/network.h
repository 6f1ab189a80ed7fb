#pragma once

#include <ctime>
#include <string>
#include <vector>

#include "common/upstream/server_address.h"

namespace upstream {

/// What the host says of its network's servers. Never a loopback address: that is a stub, whose own
/// servers are named elsewhere, or the proxy.
struct NetworkReading {
  std::vector<ServerAddress> servers;
  /// One sentence when a record has an unknown form; then there are no servers.
  std::string complaint;
};

/// On Linux the first of these that names a server: the records of systemd-resolved, of
/// NetworkManager, resolvconf, dhcpcd, dhclient and systemd-networkd, and /etc/resolv.conf. On
/// macOS what its configuration store holds for each network service, then /etc/resolv.conf. On
/// both, at last, what these named before the host was told to ask the proxy. `root` is in front of
/// every path.
NetworkReading ReadNetwork(std::time_t now, const std::string& root = "");

}  // namespace upstream
