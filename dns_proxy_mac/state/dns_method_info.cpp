#include "dns_proxy_mac/state/dns_method_info.h"

#include <arpa/inet.h>

#include <cstring>

#include "dns_proxy_mac/platform.h"

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
  method.iParam = 1000;
  return method;
}

sockaddr_in MakeIpv4Address(const char* address, std::uint16_t port) {
  sockaddr_in result;
  std::memset(&result, 0, sizeof(result));
  result.sin_family = AF_INET;
  result.sin_port = htons(port);
  result.sin_addr.s_addr = inet_addr(address);
  return result;
}
