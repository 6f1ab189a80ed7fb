#include "dns_proxy_mac/state/dns_method_info.h"

#include <cstring>

#include "dns_proxy_mac/platform.h"
#include "dns_proxy_mac/state/ipv4_address.h"

namespace {
constexpr std::int32_t kServerParam = 1000;
}  // namespace

DNSMethodInfo MakeHostMapMethod() {
  DNSMethodInfo method;
  std::memset(&method, 0, sizeof(method));
  method.iDNSMethodType = kMethodHostMap;
  return method;
}

DNSMethodInfo MakeServerMethod(const char* address) {
  DNSMethodInfo method;
  std::memset(&method, 0, sizeof(method));
  method.iDNSMethodType = kMethodDnsServer;
  const sockaddr_in server = MakeIpv4Address(address, kDnsPort);
  std::memcpy(&method.ServerAddr, &server, sizeof(method.ServerAddr));
  method.iParam = kServerParam;
  return method;
}
