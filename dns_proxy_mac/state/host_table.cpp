#include "dns_proxy_mac/state/host_table.h"

#include <arpa/inet.h>

#include <array>
#include <cctype>
#include <climits>
#include <cstddef>
#include <cstring>

#include "dns_proxy_mac/state/block_store.h"

namespace {

BlockStore g_Records(sizeof(HostRespData));

constexpr unsigned char kRecordWithoutAddress[kAnswerAddressOffset] = {
    0xC0, 0x0C,              // owner: a pointer to byte 12 of the message, the question name
    0x00, 0x01,              // type A
    0x00, 0x01,              // class IN
    0x00, 0x01, 0x51, 0x80,  // time to live: 86400 seconds
    0x00, 0x04,              // data length
};

using Letters = std::array<char, UCHAR_MAX + 1>;

Letters LowerCaseOfEachByte() {
  Letters lower{};
  for (std::size_t byte = 0; byte < lower.size(); ++byte) {
    lower[byte] = static_cast<char>(std::tolower(static_cast<int>(byte)));
  }
  return lower;
}

// The C library is asked once for each byte and not for each letter of every name.
const Letters g_LowerCase = LowerCaseOfEachByte();

}  // namespace

void* HostRespData::operator new(std::size_t /*size*/) { return g_Records.Take(); }

void HostRespData::operator delete(void* storage) noexcept { g_Records.GiveBack(storage); }

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
    character = g_LowerCase[static_cast<unsigned char>(character)];
  }
  const auto found = mapHosts.find(name);
  if (found == mapHosts.end()) return false;
  record = found->second;
  return true;
}

void HostTable::Clear() {
  while (!mapHosts.empty()) {
    const auto first = mapHosts.begin();
    delete first->second;
    mapHosts.erase(first);
  }
}
