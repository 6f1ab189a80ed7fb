#pragma once

#include <cstddef>
#include <vector>

/// What the compilers ask of the C++ runtime, and the records of their stores, led through here
/// like the system calls.
namespace language_runtime {

/// The next allocation of exactly `size` bytes throws std::bad_alloc. 0 takes that back.
void FailAllocationOf(std::size_t size);

/// How many records of any kind were given back to their stores since the process began.
std::size_t RecordsGivenBack();

/// The objects whose destructors were registered to run at exit, in order of registration.
std::vector<const void*> RegisteredForExit();

}  // namespace language_runtime
