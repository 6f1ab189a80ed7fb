#include "dns_proxy_mac/state/host_table.h"

#include <arpa/inet.h>

#include <cctype>
#include <cstddef>
#include <cstring>

namespace {

constexpr unsigned char kRecordWithoutAddress[kAnswerAddressOffset] = {
    0xC0, 0x0C,              // owner: a pointer to byte 12 of the message, the question name
    0x00, 0x01,              // type A
    0x00, 0x01,              // class IN
    0x00, 0x01, 0x51, 0x80,  // time to live: 86400 seconds
    0x00, 0x04,              // data length
};

}  // namespace

void HostTable::Add(char* domain, const char* address) {
  auto* record = new HostRespData();
  std::memcpy(record->Record, kRecordWithoutAddress, sizeof(kRecordWithoutAddress));
  const in_addr_t ipv4 = inet_addr(address);
  static_assert(sizeof(ipv4) == kAnswerAddressSize);
  std::memcpy(record->Record + kAnswerAddressOffset, &ipv4, sizeof(ipv4));
  // The first line of a domain wins for good. The record of a later one is not filed and stays
  // allocated, once for every repeated line.
  mapHosts.insert({domain, record});
}

bool HostTable::Find(std::string name, HostRespData*& record) const {
  for (char& character : name) {
    character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  }
  const auto found = mapHosts.find(name);
  if (found == mapHosts.end()) return false;
  record = found->second;
  return true;
}

void HostTable::Clear() {
  for (const auto& [domain, record] : mapHosts) delete record;
  mapHosts.clear();
}
