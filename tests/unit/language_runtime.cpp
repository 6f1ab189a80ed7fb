#include "tests/unit/language_runtime.h"

#include <array>
#include <atomic>
#include <new>

class BlockStore;

namespace language_runtime {
namespace {

// Plain values, because both functions below are called before anything of C++ is there.
constexpr std::size_t kMostRegistrations = 4096;
std::array<const void*, kMostRegistrations> g_Registered;
std::size_t g_RegisteredCount = 0;
std::atomic<std::size_t> g_FailingSize{0};
std::atomic<std::size_t> g_RecordsGivenBack{0};

void FailIfAskedTo(std::size_t size) {
  if (size != 0 && g_FailingSize.compare_exchange_strong(size, 0)) throw std::bad_alloc();
}

}  // namespace

void FailAllocationOf(std::size_t size) { g_FailingSize = size; }

std::size_t RecordsGivenBack() { return g_RecordsGivenBack; }

std::vector<const void*> RegisteredForExit() {
  return std::vector<const void*>(g_Registered.begin(), g_Registered.begin() + g_RegisteredCount);
}

}  // namespace language_runtime

// The names are the linker's.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

int __real___cxa_atexit(void (*destructor)(void*), void* object, void* module);
void* __real__Znwm(std::size_t size);
void* __real__ZN10DnsRequestnwEm(std::size_t size);
void __real__ZN10BlockStore8GiveBackEPv(BlockStore* store, void* block);

int __wrap___cxa_atexit(void (*destructor)(void*), void* object, void* module) {
  using language_runtime::g_RegisteredCount;
  if (g_RegisteredCount < language_runtime::kMostRegistrations) {
    language_runtime::g_Registered[g_RegisteredCount++] = object;
  }
  return __real___cxa_atexit(destructor, object, module);
}

// The plain operator new and a request record's, by the names that the compilers give them.
void* __wrap__Znwm(std::size_t size) {
  language_runtime::FailIfAskedTo(size);
  return __real__Znwm(size);
}

void* __wrap__ZN10DnsRequestnwEm(std::size_t size) {
  language_runtime::FailIfAskedTo(size);
  return __real__ZN10DnsRequestnwEm(size);
}

void __wrap__ZN10BlockStore8GiveBackEPv(BlockStore* store, void* block) {
  ++language_runtime::g_RecordsGivenBack;
  __real__ZN10BlockStore8GiveBackEPv(store, block);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
