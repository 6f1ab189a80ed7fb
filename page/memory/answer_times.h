#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace page {

/// How long answers took, as counts in buckets: eight to a doubling, so that a percentile is off by
/// less than one part in eight, from a microsecond to about an hour. The sum of two is what
/// counting them together would have given.
class AnswerTimes {
 public:
  void Add(std::int64_t microseconds);
  void Add(const AnswerTimes& other);

  std::uint64_t count() const { return count_; }
  /// The time within which `share` (0 to 1) of the answers came, in microseconds: the middle of its
  /// bucket. Nothing without answers.
  std::optional<std::int64_t> Percentile(double share) const;

  /// A few bytes: gap and count of each used bucket, as variable-length numbers.
  std::string Packed() const;
  /// Reads what `Packed` made; of other bytes, as much as can be understood.
  static AnswerTimes Unpack(std::string_view bytes);

 private:
  static constexpr std::size_t kBuckets = 256;
  static std::size_t BucketOf(std::int64_t microseconds);
  static std::int64_t MiddleOf(std::size_t bucket);

  std::array<std::uint32_t, kBuckets> counts_{};
  std::uint64_t count_ = 0;
};

}  // namespace page
