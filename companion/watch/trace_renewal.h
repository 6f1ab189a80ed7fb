#pragma once

#include <cstdint>
#include <string>

#include "common/platform/process_table.h"

namespace ctl {

/// What a renewal depends on.
struct TraceFacts {
  std::uint64_t limit;         ///< bytes that the proxy may write into a file; 0 without a limit
  std::uint64_t size;          ///< of the trace file, in bytes
  double seconds_since_write;  ///< to that file, by whomever
  double proxys_age;           ///< in seconds
};

/// As they are now. A file that isn't there has no bytes.
TraceFacts FactsOf(const Process& proxy);

/// Decides at each look whether the proxy is to be started again to renew its trace. It is due when
/// the file has reached half of its limit or the proxy has run for a day, and happens in the first
/// second in which nothing is traced. If the proxy never pauses, the system ends it when the file
/// is full. Without a limit, or when the trace does not go to the file, there is no renewal.
class TraceRenewal {
 public:
  /// Why it is to be started again now, as a sentence without its end; empty when it is not. `now`
  /// is in nanoseconds, of a clock that nobody sets.
  std::string Look(const TraceFacts& facts, std::int64_t now);

 private:
  std::uint64_t size_ = 0;
  std::int64_t quiet_since_ = 0;
};

}  // namespace ctl
