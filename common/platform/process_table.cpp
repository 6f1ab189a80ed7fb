#include "common/platform/process_table.h"

#include <ifaddrs.h>
#include <sys/socket.h>

namespace ctl {

std::optional<Process> FindProxy() {
  std::optional<Process> found;
  for (const Process& process : ProcessesNamedAsProxy()) {
    const bool holds = HoldsLocalPort(process);
    if (holds || !found) found = process;
    if (holds) break;
  }
  return found;
}

bool IsOwnAddress(in_addr address) {
  if (ntohl(address.s_addr) >> 24 == IN_LOOPBACKNET) return true;
  ifaddrs* interfaces = nullptr;
  if (getifaddrs(&interfaces) != 0) return false;
  bool is_own = false;
  for (const ifaddrs* at = interfaces; at != nullptr; at = at->ifa_next) {
    if (at->ifa_addr == nullptr || at->ifa_addr->sa_family != AF_INET) continue;
    const auto* own = reinterpret_cast<const sockaddr_in*>(at->ifa_addr);
    is_own = is_own || own->sin_addr.s_addr == address.s_addr;
  }
  freeifaddrs(interfaces);
  return is_own;
}

}  // namespace ctl
