#include "dns_proxy_mac/state/ipv4_address.h"

#include <arpa/inet.h>

#include <cstring>

sockaddr_in MakeIpv4Address(const char* address, std::uint16_t port) {
  sockaddr_in result;
  std::memset(&result, 0, sizeof(result));
  result.sin_family = AF_INET;
  result.sin_port = htons(port);
  result.sin_addr.s_addr = inet_addr(address);
  return result;
}
