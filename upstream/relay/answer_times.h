#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace upstream {

/// How long a server took for its last answers. Times in microseconds.
class AnswerTimes {
 public:
  void Add(std::uint64_t microseconds);

  struct Summary {
    std::uint64_t median = 0;
    std::uint64_t slow = 0;  ///< 95 of 100 took no longer
  };
  /// Zeros when there is no answer yet.
  Summary Summarized() const;

 private:
  static constexpr std::size_t kKept = 256;
  std::array<std::uint64_t, kKept> times_{};
  std::size_t count_ = 0;  // of all that were added
};

}  // namespace upstream
