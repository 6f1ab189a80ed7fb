#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>

/// Values of `DNSMethodInfo::iDNSMethodType`. The fallback does nothing for any other.
inline constexpr std::int32_t kMethodDnsServer = 0;
inline constexpr std::int32_t kMethodHostMap = 1;

/// The port on which upstream servers are asked and applications are served, host byte order.
inline constexpr std::uint16_t kDnsPort = 53;

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

/// The upstream server at `address`, which `MakeIpv4Address` reads.
DNSMethodInfo MakeServerMethod(const char* address);

/// An IPv4 socket address with everything else zero: the length byte, where the platform has one,
/// too. `address` is dotted IPv4 text; any other gives the all-ones address 255.255.255.255, which
/// is kept like every address. `port` is in host byte order.
sockaddr_in MakeIpv4Address(const char* address, std::uint16_t port);
