#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "common/trace/trace_event.h"
#include "page/live/snapshot.h"

namespace page {

/// How the proxy and its servers are at the moment, from the events of its trace. Arrival times are
/// microseconds since 1970. One thread.
class ProxyWatch {
 public:
  /// `servers`: the reader's list of address texts as it is at this event.
  void Take(const ctl::TraceEvent& event, const std::vector<std::string>& servers);

  /// Fills the parts of `snapshot` that are known here.
  void Fill(Snapshot& snapshot, const std::vector<std::string>& servers) const;

  /// For a restart: the state, what ended a worker, and the servers' counts, as text.
  std::string Save() const;
  /// As it was for a text that `Save` has not made.
  void Load(std::string_view text);

 private:
  struct Server {
    std::uint64_t asked = 0;
    std::uint64_t answers = 0;
    std::uint64_t empty = 0;
    std::int64_t last_response = 0;
    std::int64_t waits_since = 0;
    std::deque<std::int64_t> times;  // of the last responses
  };

  void TakeOfRun(const ctl::TraceEvent& event, std::size_t servers);
  void TakeOfServer(const ctl::TraceEvent& event);
  void EndIntake(const ctl::TraceEvent& event);
  void EndRelay(const ctl::TraceEvent& event);
  void CountSecond(std::int64_t arrival);

  ProxyState state_ = ProxyState::kUnknown;
  std::string reason_;
  std::int64_t started_ = 0;
  std::size_t first_server_ = 0;  // servers mentioned earlier are of earlier runs
  std::vector<Server> servers_;   // by the reader's index
  std::array<std::uint32_t, Snapshot::kSeconds> per_second_{};  // by the second modulo its size
  std::int64_t second_ = 0;
};

}  // namespace page
