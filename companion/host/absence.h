#pragma once

#include <chrono>
#include <cstdint>

namespace ctl {

/// Decides from one look after the other whether the host is better off without the proxy.
class Absence {
 public:
  enum class Advice {
    kOn,   ///< the proxy serves, and has served at the look before
    kOff,  ///< it has not served for ten seconds
    kStay
  };

  /// `now` is in nanoseconds of a clock that nobody sets.
  Advice After(bool serves, std::int64_t now) {
    if (serves) {
      const bool served_before = served_last_;
      served_last_ = true;
      away_since_ = 0;
      return served_before ? Advice::kOn : Advice::kStay;
    }
    served_last_ = false;
    if (away_since_ == 0) away_since_ = now;
    return now - away_since_ >= kLongestAbsence ? Advice::kOff : Advice::kStay;
  }

 private:
  static constexpr std::int64_t kLongestAbsence =
      std::chrono::nanoseconds(std::chrono::seconds(10)).count();

  bool served_last_ = false;
  std::int64_t away_since_ = 0;  // 0 while it serves
};

}  // namespace ctl
