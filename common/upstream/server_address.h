#pragma once

#include <netinet/in.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace upstream {

/// The address of a server, IPv4 or IPv6, asked on port 53.
struct ServerAddress {
  int family = AF_INET;
  std::array<std::uint8_t, 16> bytes{};  ///< network byte order; IPv4 uses the first four
  std::uint32_t scope = 0;               ///< the interface of a link-local IPv6 address, or 0

  bool operator==(const ServerAddress& other) const {
    return family == other.family && bytes == other.bytes && scope == other.scope;
  }
};

/// The usual text forms, with "%eth0" or "%2" behind a link-local address. Nothing for any other
/// text, and for a link-local address of an interface that is not there.
std::optional<ServerAddress> ReadAddress(std::string_view text);

/// In the one usual form.
std::string AddressText(const ServerAddress& address);

/// Whether whatever is sent there comes back to this host's loopback interface: 127.0.0.0/8, ::1,
/// the unspecified addresses, and the same as IPv4 addresses within IPv6.
bool IsLoopback(const ServerAddress& address);

/// Whether it is an address of the proxy or of this program: as a server it would let queries
/// circle for ever.
bool IsOwn(const ServerAddress& address);

/// Whether it can be a server's: neither multicast nor broadcast, and with a scope where it needs
/// one.
bool CanBeAsked(const ServerAddress& address);

}  // namespace upstream
