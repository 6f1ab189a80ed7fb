#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the process, the way a fuzzer takes for a finding, when `condition` does not hold.
#define CHECK(condition)                                                                  \
  do {                                                                                    \
    if (!(condition)) {                                                                   \
      std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                       \
    }                                                                                     \
  } while (false)
