// The server file: reading it, and the method list that comes of it. Input: the file.

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstring>

#include "dns_proxy_mac/state/shared_objects.h"
#include "tests/fuzz/check.h"
#include "tests/fuzz/file_in_memory.h"
#include "tests/fuzz/lines.h"
#include "tests/fuzz/loaded_service.h"
#include "tests/fuzz/quiet_trace.h"

namespace {

// Family AF_INET, port 53, the address, eight zero bytes. A text that is no address is one of all
// ones, and inet_addr alone knows which forms besides four decimal numbers are one.
void CheckServerAddress(const sockaddr& address, const std::string& text) {
  sockaddr_in ipv4;
  std::memcpy(&ipv4, &address, sizeof(ipv4));
  CHECK(ipv4.sin_family == AF_INET && ipv4.sin_port == htons(53));
  CHECK(std::memcmp(ipv4.sin_zero, "\0\0\0\0\0\0\0\0", sizeof(ipv4.sin_zero)) == 0);
  CHECK(ipv4.sin_addr.s_addr == inet_addr(text.c_str()));
  in_addr dotted;
  if (inet_pton(AF_INET, text.c_str(), &dotted) == 1) CHECK(ipv4.sin_addr.s_addr == dotted.s_addr);
}

void CheckServers(const ServerList& servers, const std::vector<std::string>& lines) {
  CHECK(servers.size() == lines.size());
  CHECK(g_DnsMethodList.size() == lines.size());
  for (std::size_t i = 0; i < lines.size(); ++i) {
    CHECK(servers[i] == UpToNul(lines[i]));
    CHECK(g_DnsMethodList[i].iDNSMethodType == 0 && g_DnsMethodList[i].iParam == 1000);
    CheckServerAddress(g_DnsMethodList[i].ServerAddr, servers[i]);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  QuietTrace();
  const std::string content(reinterpret_cast<const char*>(data), size);
  const std::string path = FileInMemory(content);
  ServerList servers;
  const int dns_size = ReadServerFile(path.c_str(), servers);
  CHECK(dns_size == static_cast<int>(servers.size()));
  LoadService(servers, {});
  CheckServers(servers, LinesOf(content));
  CHECK(g_Hostmaps.mapHosts.empty());
  UnloadService();
  return 0;
}
