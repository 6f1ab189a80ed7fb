// The host map file: reading it, the table that comes of it, and lookups. Input: the file.

#include <arpa/inet.h>

#include <cstring>
#include <map>

#include "dns_proxy_mac/state/shared_objects.h"
#include "tests/fuzz/check.h"
#include "tests/fuzz/file_in_memory.h"
#include "tests/fuzz/lines.h"
#include "tests/fuzz/loaded_service.h"
#include "tests/fuzz/quiet_trace.h"

namespace {

// A domain as it is written, and the address text of the first line that gives it.
using Hosts = std::map<std::string, std::string>;

// A line without a colon is both halves of its pair; one that begins with a colon is left out.
HostMapList PairsOf(const std::vector<std::string>& lines) {
  HostMapList pairs;
  for (const std::string& line : lines) {
    const std::size_t colon = line.find(':');
    if (colon == 0) continue;
    if (colon == std::string::npos) {
      pairs.emplace_back(line, line);
    } else {
      pairs.emplace_back(std::string(line.begin(), line.begin() + static_cast<long>(colon)),
                         std::string(line.begin() + static_cast<long>(colon) + 1, line.end()));
    }
  }
  return pairs;
}

Hosts HostsOf(const HostMapList& pairs) {
  Hosts hosts;
  for (const auto& [domain, address] : pairs) hosts.emplace(UpToNul(domain), UpToNul(address));
  return hosts;
}

std::string Changed(std::string text, char from, char to, int by) {
  for (char& c : text) {
    if (c >= from && c <= to) c = static_cast<char>(c + by);
  }
  return text;
}

void CheckRecord(const HostRespData& record, const std::string& address) {
  CHECK(std::memcmp(record.Record, "\xC0\x0C\x00\x01\x00\x01\x00\x01\x51\x80\x00\x04", 12) == 0);
  const in_addr_t ipv4 = inet_addr(address.c_str());
  CHECK(std::memcmp(record.Record + 12, &ipv4, 4) == 0);
}

// A name is found when it is listed in lower case, whatever the case that it is asked in.
void CheckLookup(const std::string& name, const Hosts& hosts) {
  HostRespData untouched;
  HostRespData* record = &untouched;
  const auto host = hosts.find(Changed(name, 'A', 'Z', 'a' - 'A'));
  const bool found = g_Hostmaps.Find(name, record);
  CHECK(found == (host != hosts.end()));
  if (found) {
    CheckRecord(*record, host->second);
  } else {
    CHECK(record == &untouched);
  }
}

// The variants of the first few names stand for those of all: most of the time goes into lookups.
void CheckTable(const Hosts& hosts) {
  int names_with_variants = 3;
  CHECK(g_Hostmaps.mapHosts.size() == hosts.size());
  CheckLookup("", hosts);
  for (const auto& [domain, address] : hosts) {
    CheckLookup(domain, hosts);
    if (names_with_variants-- <= 0) continue;
    CheckLookup(Changed(domain, 'a', 'z', 'A' - 'a'), hosts);
    CheckLookup(domain + ".", hosts);
    CheckLookup("host." + domain, hosts);
    if (!domain.empty()) CheckLookup(domain.substr(1), hosts);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  QuietTrace();
  const std::string content(reinterpret_cast<const char*>(data), size);
  const std::string path = FileInMemory(content);
  HostMapList pairs;
  const int hostmap_size = ReadHostMapFile(path.c_str(), pairs);
  CHECK(hostmap_size == static_cast<int>(pairs.size()));
  CHECK(pairs == PairsOf(LinesOf(content)));
  LoadService({}, pairs);
  CHECK(g_DnsMethodList.size() == (pairs.empty() ? 0U : 1U));
  if (!pairs.empty()) {
    CHECK(g_DnsMethodList[0].iDNSMethodType == 1 && g_DnsMethodList[0].iParam == 0);
  }
  CheckTable(HostsOf(pairs));
  UnloadService();
  return 0;
}
