#include "common/upstream/server_address.h"

#include <arpa/inet.h>
#include <net/if.h>

#include <algorithm>
#include <charconv>

#include "common/upstream/places.h"

namespace upstream {
namespace {

constexpr const char* kProxyAddress = "127.0.0.1";
constexpr std::array<std::uint8_t, 12> kIpv4InIpv6 = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};

std::uint32_t ScopeOf(const std::string& name) {
  std::uint32_t number = 0;
  const auto read = std::from_chars(name.data(), name.data() + name.size(), number);
  if (read.ec == std::errc() && read.ptr == name.data() + name.size()) return number;
  return if_nametoindex(name.c_str());
}

// The IPv4 address that an IPv6 one stands for, or the address itself.
ServerAddress WithoutMapping(const ServerAddress& address) {
  if (address.family != AF_INET6 ||
      !std::equal(kIpv4InIpv6.begin(), kIpv4InIpv6.end(), address.bytes.begin())) {
    return address;
  }
  ServerAddress plain;
  std::copy_n(address.bytes.begin() + kIpv4InIpv6.size(), sizeof(in_addr), plain.bytes.begin());
  return plain;
}

bool IsUnspecified(const ServerAddress& address) {
  return std::all_of(address.bytes.begin(), address.bytes.end(),
                     [](std::uint8_t byte) { return byte == 0; });
}

bool IsLinkLocal(const ServerAddress& address) {
  return address.family == AF_INET6 && address.bytes[0] == 0xFE &&
         (address.bytes[1] & 0xC0) == 0x80;
}

}  // namespace

std::optional<ServerAddress> ReadAddress(std::string_view text) {
  const std::size_t percent = text.find('%');
  const std::string number(text.substr(0, percent));
  ServerAddress address;
  if (percent == std::string_view::npos &&
      inet_pton(AF_INET, number.c_str(), address.bytes.data()) == 1) {
    return address;
  }
  address.family = AF_INET6;
  if (inet_pton(AF_INET6, number.c_str(), address.bytes.data()) != 1) return std::nullopt;
  if (percent == std::string_view::npos) return address;
  address.scope = ScopeOf(std::string(text.substr(percent + 1)));
  if (address.scope == 0) return std::nullopt;
  if (!IsLinkLocal(address)) address.scope = 0;
  return address;
}

std::string AddressText(const ServerAddress& address) {
  char text[INET6_ADDRSTRLEN] = "";
  inet_ntop(address.family, address.bytes.data(), text, sizeof text);
  std::string whole = text;
  if (address.scope == 0) return whole;
  char name[IF_NAMESIZE] = "";
  const bool is_named = if_indextoname(address.scope, name) != nullptr;
  return whole + '%' + (is_named ? std::string(name) : std::to_string(address.scope));
}

bool IsLoopback(const ServerAddress& address) {
  const ServerAddress plain = WithoutMapping(address);
  if (IsUnspecified(plain)) return true;
  if (plain.family == AF_INET) return plain.bytes[0] == 127 || plain.bytes[0] == 0;
  return std::equal(plain.bytes.begin(), plain.bytes.end(), in6addr_loopback.s6_addr);
}

bool IsOwn(const ServerAddress& address) {
  const ServerAddress plain = WithoutMapping(address);
  if (IsUnspecified(plain) || plain == ReadAddress(kProxyAddress)) return true;
  return std::any_of(std::begin(kListenAddresses), std::end(kListenAddresses),
                     [&plain](const char* own) { return plain == ReadAddress(own); });
}

bool CanBeAsked(const ServerAddress& address) {
  const ServerAddress plain = WithoutMapping(address);
  if (plain.family == AF_INET) return plain.bytes[0] < 224;
  return plain.bytes[0] != 0xFF && (!IsLinkLocal(plain) || plain.scope != 0);
}

}  // namespace upstream
