#include "tests/unit/language_runtime.h"

#include <array>
#include <atomic>
#include <new>

namespace language_runtime {
namespace {

// Plain values, because what is below is called before anything of C++ is there, by any thread.
constexpr std::size_t kMostRegistrations = 4096;
constexpr std::size_t kMostFreed = 64;
std::array<const void*, kMostRegistrations> g_Registered;
std::size_t g_RegisteredCount = 0;
std::atomic<std::size_t> g_FailingSize{0};
std::atomic<std::size_t> g_WatchedSize{0};
std::atomic<const void*> g_LastOfWatchedSize{nullptr};
std::array<std::atomic<const void*>, kMostFreed> g_Freed{};
std::atomic<std::size_t> g_FreedCount{0};

void FailIfAskedTo(std::size_t size) {
  if (size != 0 && g_FailingSize.compare_exchange_strong(size, 0)) throw std::bad_alloc();
}

void* HandedOut(std::size_t size, void* storage) {
  if (size == g_WatchedSize) g_LastOfWatchedSize = storage;
  for (auto& freed : g_Freed) {
    const void* again = storage;
    freed.compare_exchange_strong(again, nullptr);
  }
  return storage;
}

void RememberFreed(const void* storage) { g_Freed[g_FreedCount++ % kMostFreed] = storage; }

}  // namespace

void FailAllocationOf(std::size_t size) { g_FailingSize = size; }

void WatchAllocationsOf(std::size_t size) {
  g_LastOfWatchedSize = nullptr;
  g_WatchedSize = size;
}

const void* LastWatchedAllocation() { return g_LastOfWatchedSize; }

bool WasFreed(const void* storage) {
  for (const auto& freed : g_Freed) {
    if (freed == storage) return true;
  }
  return false;
}

std::vector<const void*> RegisteredForExit() {
  return std::vector<const void*>(g_Registered.begin(), g_Registered.begin() + g_RegisteredCount);
}

}  // namespace language_runtime

// The names are the linker's.
// NOLINTBEGIN(clang-diagnostic-reserved-identifier)
extern "C" {

int __real___cxa_atexit(void (*destructor)(void*), void* object, void* module);
void* __real__Znwm(std::size_t size);
void* __real__ZN10DnsRequestnwEm(std::size_t size);
void __real__ZdlPv(void* storage);
void __real__ZdlPvm(void* storage, std::size_t size);

int __wrap___cxa_atexit(void (*destructor)(void*), void* object, void* module) {
  using language_runtime::g_RegisteredCount;
  if (g_RegisteredCount < language_runtime::kMostRegistrations) {
    language_runtime::g_Registered[g_RegisteredCount++] = object;
  }
  return __real___cxa_atexit(destructor, object, module);
}

// The plain operator new, a request record's and the two plain operators delete, by the names that
// the compilers give them.
void* __wrap__Znwm(std::size_t size) {
  language_runtime::FailIfAskedTo(size);
  return language_runtime::HandedOut(size, __real__Znwm(size));
}

void* __wrap__ZN10DnsRequestnwEm(std::size_t size) {
  language_runtime::FailIfAskedTo(size);
  return __real__ZN10DnsRequestnwEm(size);
}

void __wrap__ZdlPv(void* storage) {
  language_runtime::RememberFreed(storage);
  __real__ZdlPv(storage);
}

void __wrap__ZdlPvm(void* storage, std::size_t size) {
  language_runtime::RememberFreed(storage);
  __real__ZdlPvm(storage, size);
}

}  // extern "C"
// NOLINTEND(clang-diagnostic-reserved-identifier)
