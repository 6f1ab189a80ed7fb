#include "dns_proxy_mac/state/block_store.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr std::size_t kBytesAtATime = std::size_t{512} << 10;

#if defined(__has_feature)
#define HAS_FEATURE(x) __has_feature(x)
#else
#define HAS_FEATURE(x) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || HAS_FEATURE(address_sanitizer)
constexpr bool kAddressSanitizer = true;
#else
constexpr bool kAddressSanitizer = false;
#endif

void* OrBadAlloc(void* storage, const void* failed) {
  if (storage == failed) throw std::bad_alloc();
  return storage;
}

}  // namespace

constexpr BlockStore::Origin BlockStore::kUsual =
    kAddressSanitizer ? Origin::kHeap : Origin::kPages;

void* BlockStore::Take() {
  if (origin_ == Origin::kHeap) return OrBadAlloc(std::calloc(1, block_size_), nullptr);
  void* spare = TakeSpare();
  return spare != nullptr ? std::memset(spare, 0, block_size_) : TakeFresh();
}

void BlockStore::GiveBack(void* block) {
  if (origin_ == Origin::kHeap) {
    std::free(block);
    return;
  }
  if (block == nullptr) return;
  const MutexGuard guard(mutex_);
  spares_ = new (block) Spare{spares_};
}

void* BlockStore::TakeSpare() {
  const MutexGuard guard(mutex_);
  Spare* spare = spares_;
  if (spare != nullptr) spares_ = spare->next;
  return spare;
}

void* BlockStore::TakeFresh() {
  const MutexGuard guard(mutex_);
  if (fresh_left_ < block_size_) {
    const std::size_t size = std::max(kBytesAtATime, block_size_);
    fresh_ = static_cast<char*>(OrBadAlloc(
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANON, -1, 0), MAP_FAILED));
    fresh_left_ = size;
  }
  void* block = fresh_;
  fresh_ += block_size_;
  fresh_left_ -= block_size_;
  return block;
}
