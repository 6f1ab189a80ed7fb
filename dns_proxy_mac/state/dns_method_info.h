#pragma once

#include <sys/socket.h>

#include <cstdint>

/// Values of `DNSMethodInfo::iDNSMethodType`. The fallback does nothing for any other.
inline constexpr std::int32_t kMethodDnsServer = 0;
inline constexpr std::int32_t kMethodHostMap = 1;

/// One way to resolve a query. A plain value, copied byte for byte into every request's own list.
struct DNSMethodInfo {
  std::int32_t iDNSMethodType;
  /// A server's IPv4 address and port 53, both in network byte order; zero for the host map.
  sockaddr ServerAddr;
  /// 1000 for a server, 0 for the host map. Nothing reads it; it belongs to the record.
  std::int32_t iParam;
};

/// The host map as a method: all zero but the type.
DNSMethodInfo MakeHostMapMethod();

/// The upstream server at `address`, a dotted IPv4 address. Any other text gives the all-ones
/// address 255.255.255.255, which the list keeps like any server.
DNSMethodInfo MakeServerMethod(const char* address);
