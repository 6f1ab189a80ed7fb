#pragma once

#include <cstddef>
#include <vector>

/// What the compilers ask of the C++ runtime, led through here like the system calls.
namespace language_runtime {

/// The next allocation of exactly `size` bytes throws std::bad_alloc. 0 takes that back.
void FailAllocationOf(std::size_t size);

/// From here on `LastWatchedAllocation` is the storage handed out last for exactly `size` bytes;
/// null as long as there was none.
void WatchAllocationsOf(std::size_t size);
const void* LastWatchedAllocation();

/// Whether storage has been freed since it was handed out last. Only what was freed lately is
/// remembered.
bool WasFreed(const void* storage);

/// The objects whose destructors were registered to run at exit, in order of registration.
std::vector<const void*> RegisteredForExit();

}  // namespace language_runtime
