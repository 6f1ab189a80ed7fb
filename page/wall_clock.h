#pragma once

#include <chrono>
#include <cstdint>

namespace page {

inline constexpr std::int64_t kMicrosecondsInMillisecond = 1000;

/// Microseconds since 1970.
inline std::int64_t WallMicroseconds() {
  return std::chrono::system_clock::now().time_since_epoch() / std::chrono::microseconds(1);
}

/// Milliseconds since 1970.
inline std::int64_t WallMs() { return WallMicroseconds() / kMicrosecondsInMillisecond; }

}  // namespace page
