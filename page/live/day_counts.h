#pragma once

#include <array>
#include <cstdint>
#include <deque>

#include "common/trace/trace_event.h"
#include "page/memory/query.h"

namespace page {

/// How many queries ended each way and how many datagrams were dropped for each reason, over the
/// last 24 hours, in steps of ten minutes.
class DayCounts {
 public:
  static constexpr std::size_t kKinds = kOutcomes + ctl::kDropReasons;
  using Counts = std::array<std::uint64_t, kKinds>;

  static std::size_t KindOf(Outcome outcome) { return static_cast<std::size_t>(outcome); }
  static std::size_t KindOf(ctl::DropReason reason) {
    return kOutcomes + static_cast<std::size_t>(reason);
  }

  /// Times are milliseconds since 1970. What comes with an earlier time than the last counts as if
  /// it came with the last.
  void Add(std::int64_t milliseconds, std::size_t kind, std::uint64_t count = 1);

  /// One that was added for this time is not. Nothing when it is too old to be in here.
  void TakeBack(std::int64_t milliseconds, std::size_t kind);

  /// The sums, without what is older than a day at `now`.
  Counts Sum(std::int64_t now);

 private:
  struct Slot {
    std::int64_t number;
    Counts counts;
  };
  std::deque<Slot> slots_;
  Counts sum_{};
};

}  // namespace page
