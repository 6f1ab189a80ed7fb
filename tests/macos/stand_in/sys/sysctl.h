#pragma once

// What the companion uses of macOS's <sys/sysctl.h>, played by fake_macos.cpp.

#include <cstddef>

#define CTL_KERN 1
#define KERN_PROCARGS2 49

extern "C" int sysctl(int* name, unsigned count, void* old, std::size_t* old_size, void* wanted,
                      std::size_t wanted_size);
