#pragma once

#include <cstdint>

namespace page {

/// The settings that the page shows.
struct MemorySettings {
  std::int64_t query_hours = 24;
  std::int64_t bytes = 0;
};

}  // namespace page
