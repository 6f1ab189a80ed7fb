#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <unordered_map>

#include "tests/stress/wire.h"

/// One application on one socket: keeps a few queries in flight and checks every response to the
/// byte. A query that gets none within a while is asked again, as a stub resolver does.
class Application {
 public:
  /// `number` tells the applications apart, so that no two ask for the same name.
  explicit Application(int number);

  /// Asks `queries` queries and waits for their responses, then goes on asking until `stop`.
  /// `done` is raised by one when the first part is over. False, with a sentence on standard error,
  /// when a response is wrong or nothing comes any more.
  bool Run(std::uint32_t queries, std::atomic<int>& done, const std::atomic<bool>& stop);

  std::uint32_t repeats() const { return repeats_; }

 private:
  using Clock = std::chrono::steady_clock;
  struct Asked {
    Message query;
    Road road;
    Clock::time_point when;
    bool repeated;
  };

  void AskNext();
  bool TakeResponse(const Message& response);
  void RepeatOverdue();

  int sock_;
  std::uint32_t next_;
  std::uint16_t next_id_ = 0;
  std::uint32_t answered_ = 0;
  std::uint32_t repeats_ = 0;
  sockaddr_in proxy_;
  std::unordered_map<std::uint16_t, Asked> in_flight_;
};
