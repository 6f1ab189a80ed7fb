#include "page/memory/answer_times.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "page/memory/variable_number.h"

namespace page {
namespace {

constexpr unsigned kStepBits = 3;  // eight buckets to a doubling
constexpr std::int64_t kSteps = 1 << kStepBits;

}  // namespace

// Up to eight, each number has a bucket; then the first four binary digits decide.
std::size_t AnswerTimes::BucketOf(std::int64_t microseconds) {
  if (microseconds < kSteps)
    return static_cast<std::size_t>(std::max<std::int64_t>(0, microseconds));
  unsigned shift = 0;
  while ((microseconds >> shift) >= 2 * kSteps) ++shift;
  const auto bucket = static_cast<std::size_t>((shift * kSteps) + (microseconds >> shift));
  return std::min(bucket, kBuckets - 1);
}

std::int64_t AnswerTimes::MiddleOf(std::size_t bucket) {
  const auto number = static_cast<std::int64_t>(bucket);
  if (number < 2 * kSteps) return number;
  const std::int64_t shift = number / kSteps - 1;
  const std::int64_t first = (number - shift * kSteps) << shift;
  return first + (std::int64_t{1} << shift) / 2;
}

void AnswerTimes::Add(std::int64_t microseconds) {
  std::uint32_t& count = counts_[BucketOf(microseconds)];
  if (count == std::numeric_limits<std::uint32_t>::max()) return;
  ++count;
  ++count_;
}

void AnswerTimes::Add(const AnswerTimes& other) {
  for (std::size_t bucket = 0; bucket < kBuckets; ++bucket) {
    const std::uint32_t room = std::numeric_limits<std::uint32_t>::max() - counts_[bucket];
    const std::uint32_t added = std::min(room, other.counts_[bucket]);
    counts_[bucket] += added;
    count_ += added;
  }
}

std::optional<std::int64_t> AnswerTimes::Percentile(double share) const {
  if (count_ == 0) return std::nullopt;
  const double exact = std::ceil(share * static_cast<double>(count_));
  const auto wanted = std::max<std::uint64_t>(1, static_cast<std::uint64_t>(exact));
  std::uint64_t seen = 0;
  for (std::size_t bucket = 0; bucket < kBuckets; ++bucket) {
    seen += counts_[bucket];
    if (seen >= wanted) return MiddleOf(bucket);
  }
  return MiddleOf(kBuckets - 1);
}

std::string AnswerTimes::Packed() const {
  std::string bytes;
  std::size_t next = 0;
  for (std::size_t bucket = 0; bucket < kBuckets; ++bucket) {
    if (counts_[bucket] == 0) continue;
    AppendVariableNumber(bucket - next, bytes);
    AppendVariableNumber(counts_[bucket], bytes);
    next = bucket + 1;
  }
  return bytes;
}

AnswerTimes AnswerTimes::Unpack(std::string_view bytes) {
  AnswerTimes times;
  std::uint64_t bucket = 0;
  std::uint64_t gap = 0;
  std::uint64_t count = 0;
  while (TakeVariableNumber(bytes, gap) && TakeVariableNumber(bytes, count)) {
    if (gap >= kBuckets - bucket || count > std::numeric_limits<std::uint32_t>::max()) break;
    bucket += gap;
    times.counts_[bucket] = static_cast<std::uint32_t>(count);
    times.count_ += count;
    if (++bucket == kBuckets) break;
  }
  return times;
}

}  // namespace page
