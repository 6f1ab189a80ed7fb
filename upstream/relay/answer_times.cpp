#include "upstream/relay/answer_times.h"

#include <algorithm>

namespace upstream {

void AnswerTimes::Add(std::uint64_t microseconds) {
  times_[count_ % kKept] = microseconds;
  ++count_;
}

AnswerTimes::Summary AnswerTimes::Summarized() const {
  const std::size_t count = std::min(count_, kKept);
  if (count == 0) return {};
  std::array<std::uint64_t, kKept> sorted = times_;
  std::sort(sorted.begin(), sorted.begin() + static_cast<std::ptrdiff_t>(count));
  return {sorted[(count - 1) / 2], sorted[(count * 95 - 1) / 100]};
}

}  // namespace upstream
