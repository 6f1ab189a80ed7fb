#include "dns_proxy_mac/state/dns_request.h"

#include <cstring>

#include "dns_proxy_mac/state/block_store.h"

namespace {

BlockStore g_Records(sizeof(DnsRequest));

}  // namespace

void* DnsRequest::operator new(std::size_t /*size*/) { return g_Records.Take(); }

void DnsRequest::operator delete(void* storage) noexcept { g_Records.GiveBack(storage); }

// Here and not in the class, where it would have `DnsRequest()` zero 8 KB.
DnsRequest::DnsRequest() = default;

DnsRequest& DnsRequest::operator=(const DnsRequest& other) {
  constexpr std::size_t kBlock = offsetof(DnsRequest, iQueryPacketLen) + sizeof(iQueryPacketLen);
  static_assert(offsetof(DnsRequest, usId) == 0, "the block of plain fields starts the record");
  std::memmove(reinterpret_cast<char*>(this), reinterpret_cast<const char*>(&other), kBlock);
  strDomain = other.strDomain;
  usQType = other.usQType;
  usQClass = other.usQClass;
  if (this != &other) vecMethods = other.vecMethods;
  bSpare = other.bSpare;
  return *this;
}
