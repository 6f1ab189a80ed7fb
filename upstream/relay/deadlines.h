#pragma once

#include <cstdint>
#include <deque>

#include "upstream/wire/time.h"

namespace upstream {

/// Deadlines that are all equally far away when they are set, and so pass in the order in which
/// they were set. `Subject::IsCurrent(serial)` says whether a deadline still counts.
template <typename Subject>
class Deadlines {
 public:
  void Set(Time due, Subject& subject, std::uint64_t serial) {
    deadlines_.push_back({due, &subject, serial});
  }

  /// The subject whose current deadline has passed; null when there is none.
  Subject* TakeDue(Time now) {
    while (DropPast(), !deadlines_.empty() && deadlines_.front().due <= now) {
      Subject* subject = deadlines_.front().subject;
      deadlines_.pop_front();
      return subject;
    }
    return nullptr;
  }

  /// The subject whose deadline is next; null when there is none.
  Subject* Next() {
    DropPast();
    return deadlines_.empty() ? nullptr : deadlines_.front().subject;
  }

 private:
  struct Deadline {
    Time due;
    Subject* subject;  // of a pool that lives as long as this
    std::uint64_t serial;
  };

  void DropPast() {
    while (!deadlines_.empty() &&
           !deadlines_.front().subject->IsCurrent(deadlines_.front().serial)) {
      deadlines_.pop_front();
    }
  }

  std::deque<Deadline> deadlines_;
};

}  // namespace upstream
