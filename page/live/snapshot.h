#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "page/live/day_counts.h"
#include "page/memory/query.h"

namespace page {

/// How far the last run of the proxy has come, as the trace says.
enum class ProxyState {
  kUnknown,
  kStarting,
  kServing,
  kIntakeEnded,
  kRelayEnded,
  kNotStarted,
  kEnded
};
const char* KeyOf(ProxyState state);

struct ServerNow {
  std::string address;
  std::uint64_t asked = 0;
  std::uint64_t answers = 0;
  std::uint64_t empty = 0;
  std::uint64_t waiting = 0;
  std::int64_t last_response = 0;            ///< milliseconds since 1970; 0 for none
  std::int64_t waits_since = 0;              ///< asked and silent since then; 0 when it is not
  std::optional<std::int64_t> median;        ///< microseconds, of the last responses
  std::optional<std::int64_t> ninety_fifth;  ///< the same
};

struct WaitingNow {
  std::string name;    ///< as it may be shown
  std::string server;  ///< its address; empty when it is not known
  std::int64_t since = 0;
};

/// How things are at one moment. Times in milliseconds since 1970.
struct Snapshot {
  static constexpr std::size_t kMostWaiting = 50;
  static constexpr std::size_t kSeconds = 60;

  std::int64_t time = 0;
  bool is_trace_read = false;
  std::string trace_trouble;  ///< why it is not read, as a clause
  std::int64_t trace_changed = 0;
  ProxyState state = ProxyState::kUnknown;
  std::string state_reason;  ///< what ended a worker
  std::int64_t started = 0;
  std::uint64_t waiting_count = 0;
  std::vector<ServerNow> servers;   ///< in the order in which they are asked
  std::vector<WaitingNow> waiting;  ///< the longest waiting first
  DayCounts::Counts day{};
  std::vector<std::uint32_t> per_second;  ///< queries in each of the last seconds, the latest last
  std::int64_t last_second = 0;           ///< which one that is, since 1970
  std::uint64_t lines = 0;
  std::uint64_t not_understood = 0;
  bool is_database_failing = false;

  /// Nothing has come since: `per_second` goes on with zeros up to `second`.
  void MoveSecondsTo(std::int64_t second);
};

}  // namespace page
