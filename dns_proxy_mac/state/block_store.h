#pragma once

#include <cstddef>
#include <cstdint>

#include "dns_proxy_mac/mutex.h"

/// Storage for objects of one size, for a class whose `operator new` and `operator delete` lead
/// here. What it hands out is zeroed. Any thread.
///
/// Blocks are cut from pages that the system gives many at a time, without anything in between.
/// Such pages are zero without taking memory until they are written to: a record with room for 8192
/// bytes of packet takes about half of its size for a query of usual length, and nobody has to fill
/// the rest. A block that comes back is kept, and zeroed for the next object: one thread can free
/// what another has made without both meeting at the heap's locks. Nothing goes back to the system.
class BlockStore {
 public:
  enum class Origin : std::uint8_t { kPages, kHeap };

  /// The pages, but the heap under an address sanitizer, which sees the use of a freed object only
  /// there.
  static const Origin kUsual;

  /// For blocks of `block_size` bytes, a multiple of their alignment and of a pointer's size.
  explicit BlockStore(std::size_t block_size, Origin origin = kUsual)
      : block_size_(block_size), origin_(origin) {}
  BlockStore(const BlockStore&) = delete;
  BlockStore& operator=(const BlockStore&) = delete;
  /// Does nothing: a worker that outlives main may still come here during exit.
  ~BlockStore() = default;

  /// A zeroed block, the caller's until it gives it back; std::bad_alloc when the system has none.
  void* Take();

  /// A block that `Take` has given, or null. What is in it is gone.
  void GiveBack(void* block);

 private:
  struct Spare {
    Spare* next;
  };

  void* TakeSpare() EXCLUDES(mutex_);
  void* TakeFresh() EXCLUDES(mutex_);

  const std::size_t block_size_;
  const Origin origin_;
  Mutex mutex_;
  Spare* spares_ GUARDED_BY(mutex_) = nullptr;
  char* fresh_ GUARDED_BY(mutex_) = nullptr;
  std::size_t fresh_left_ GUARDED_BY(mutex_) = 0;  // bytes
};
