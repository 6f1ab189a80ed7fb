#include "page/live/day_counts.h"

#include <algorithm>

namespace page {
namespace {

constexpr std::int64_t kSlotMs = 600000;
constexpr std::int64_t kSlotsOfDay = 144;

}  // namespace

void DayCounts::Add(std::int64_t milliseconds, std::size_t kind, std::uint64_t count) {
  const std::int64_t number = milliseconds / kSlotMs;
  if (slots_.empty() || slots_.back().number < number) slots_.push_back({number, {}});
  slots_.back().counts[kind] += count;
  sum_[kind] += count;
}

void DayCounts::TakeBack(std::int64_t milliseconds, std::size_t kind) {
  const std::int64_t number = milliseconds / kSlotMs;
  const auto slot = std::find_if(slots_.begin(), slots_.end(),
                                 [number](const Slot& one) { return one.number == number; });
  if (slot == slots_.end() || slot->counts[kind] == 0) return;
  --slot->counts[kind];
  --sum_[kind];
}

DayCounts::Counts DayCounts::Sum(std::int64_t now) {
  const std::int64_t first = now / kSlotMs - kSlotsOfDay + 1;
  while (!slots_.empty() && slots_.front().number < first) {
    for (std::size_t kind = 0; kind < kKinds; ++kind) sum_[kind] -= slots_.front().counts[kind];
    slots_.pop_front();
  }
  return sum_;
}

}  // namespace page
