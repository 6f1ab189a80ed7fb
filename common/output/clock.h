#pragma once

#include <chrono>
#include <cstdint>

namespace ctl {

/// Nanoseconds of a clock that nobody sets.
inline std::int64_t MonotonicNow() {
  return std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
}

inline constexpr std::int64_t kNanosecondsInMillisecond = 1000000;

/// Whatever is redrawn on a terminal is drawn five times a second at most.
inline constexpr std::int64_t kBetweenDraws = 200 * kNanosecondsInMillisecond;

}  // namespace ctl
