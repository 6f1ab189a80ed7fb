#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "dns_proxy_mac/startup/configuration_files.h"

namespace ctl {

/// What the host's resolver files say: where applications send their questions, and how.
struct HostResolver {
  /// Whether the server that is asked first is the proxy, directly or through systemd-resolved.
  bool asks_proxy = false;
  /// "/etc/resolv.conf points at the proxy".
  std::string words;
  /// Which of its options keep the proxy's answers from being understood, and how; empty when none
  /// does.
  std::string bad_options;
  /// Whether systemd-resolved sends what it is asked to the proxy.
  bool resolved_asks_proxy = false;
  /// Whether there are servers apart from this host, and all of them have IPv6 addresses.
  bool names_ipv6_only = false;
};

HostResolver ReadHostResolver();

/// Whether a server's address is one that systemd-resolved listens at.
bool IsResolved(std::string_view address);

}  // namespace ctl
