#include "dns_proxy_mac/state/dns_request.h"

#include <atomic>
#include <cstring>
#include <new>
#include <utility>

namespace {

// The storage of records that are gone, kept for new ones. At the heap the workers would wait for
// each other, as one frees what the other has made; here nobody waits: whoever finds the list in
// use goes to the heap. What is kept is never given back, so memory stays at the most that were in
// flight at one time.
struct Spare {
  Spare* next;
};
Spare* g_Spares = nullptr;
std::atomic_flag g_SparesInUse = ATOMIC_FLAG_INIT;

}  // namespace

void* DnsRequest::operator new(std::size_t size) {
  Spare* spare = nullptr;
  if (!g_SparesInUse.test_and_set(std::memory_order_acquire)) {
    if (g_Spares != nullptr) spare = std::exchange(g_Spares, g_Spares->next);
    g_SparesInUse.clear(std::memory_order_release);
  }
  return spare != nullptr ? spare : ::operator new(size);
}

void DnsRequest::operator delete(void* storage) noexcept {
  if (g_SparesInUse.test_and_set(std::memory_order_acquire)) {
    ::operator delete(storage);
    return;
  }
  g_Spares = new (storage) Spare{g_Spares};
  g_SparesInUse.clear(std::memory_order_release);
}

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
