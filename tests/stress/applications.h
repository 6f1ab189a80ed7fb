#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <unordered_map>

#include "tests/stress/wire.h"

/// One application on one socket: keeps a few queries in flight and checks every response to the
/// byte. A query that gets none within a while is asked again, as a stub resolver does, and until
/// the proxy is heard at all every few milliseconds, so that it starts under load. A query may get
/// one response for each time that it was asked, and no more.
class Application {
 public:
  /// `number` tells the applications apart, so that no two ask for the same name.
  explicit Application(int number);

  /// Asks `queries` queries and waits for their responses, then goes on asking until `stop`.
  /// `done` is raised by one when the first part is over. False, with a sentence on standard error,
  /// when a response is wrong or nothing comes any more.
  bool Run(std::uint32_t queries, std::atomic<int>& done, const std::atomic<bool>& stop);

  /// How often a query was asked again after the first response had come.
  std::uint32_t repeats() const { return repeats_; }

 private:
  using Clock = std::chrono::steady_clock;
  struct Asked {
    Message query;
    Path path;
    Clock::time_point when;
    int times;
  };

  void AskNext();
  bool TakeResponse(const Message& response);
  void RepeatOverdue();

  int sock_;
  std::uint32_t next_;
  std::uint16_t next_id_ = 0;
  std::uint32_t answered_ = 0;
  std::uint32_t repeats_ = 0;
  bool heard_ = false;
  sockaddr_in proxy_;
  std::unordered_map<std::uint16_t, Asked> in_flight_;
  std::unordered_map<std::uint16_t, Asked> answered_once_;  // of those asked more than once
};
