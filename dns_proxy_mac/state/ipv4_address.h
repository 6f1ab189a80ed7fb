#pragma once

#include <netinet/in.h>

#include <cstdint>

/// The port on which upstream servers are asked and applications are served, host byte order.
inline constexpr std::uint16_t kDnsPort = 53;

/// An IPv4 socket address with everything else zero: the length byte, where the platform has one,
/// too. `address` is dotted IPv4 text; any other gives the all-ones address 255.255.255.255. `port`
/// is in host byte order.
sockaddr_in MakeIpv4Address(const char* address, std::uint16_t port);
