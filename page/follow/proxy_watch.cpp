#include "page/follow/proxy_watch.h"

#include <algorithm>

#include "common/output/shown_text.h"
#include "page/json.h"
#include "page/wall_clock.h"

namespace page {
namespace {

constexpr std::size_t kTimes = 200;
constexpr std::int64_t kMicrosecondsInSecond = 1000000;
constexpr int kSavedLevels = 4;  // the numbers of a list in a list in an object

std::string Datagram(const ctl::TraceEvent& event, const std::string& what) {
  return "a datagram of " + ctl::Counted(static_cast<std::uint64_t>(event.numbers[0]), "byte") +
         " from " + ctl::Shown(event.address) + what;
}

std::optional<std::int64_t> Percentile(const std::deque<std::int64_t>& times,
                                       std::size_t hundredth) {
  if (times.empty()) return std::nullopt;
  std::vector<std::int64_t> sorted(times.begin(), times.end());
  const std::size_t at = (sorted.size() * hundredth + 99) / 100 - 1;
  std::nth_element(sorted.begin(), sorted.begin() + static_cast<std::ptrdiff_t>(at), sorted.end());
  return sorted[at];
}

}  // namespace

void ProxyWatch::CountSecond(std::int64_t arrival) {
  const std::int64_t second = arrival / kMicrosecondsInSecond;
  const auto size = static_cast<std::int64_t>(per_second_.size());
  const std::int64_t first = std::max(second_ + 1, second - size + 1);
  for (std::int64_t at = first; at <= second; ++at) {
    per_second_[static_cast<std::size_t>(at % size)] = 0;
  }
  second_ = std::max(second_, second);
  ++per_second_[static_cast<std::size_t>(second % size)];
}

void ProxyWatch::Take(const ctl::TraceEvent& event, const std::vector<std::string>& servers) {
  using Kind = ctl::TraceEventKind;
  if (servers_.size() < servers.size()) servers_.resize(servers.size());
  switch (event.kind) {
    case Kind::kAccepted:
      return CountSecond(event.arrival);
    case Kind::kAsked:
    case Kind::kForwardFailed:
    case Kind::kRelayed:
    case Kind::kWithoutAnswer:
      return TakeOfServer(event);
    case Kind::kQueryTooShort:
    case Kind::kQuestionCountRefused:
    case Kind::kDomainEmpty:
    case Kind::kQueryReceiveFailed:
    case Kind::kQueryWaitFailed:
      return EndIntake(event);
    case Kind::kResponseTooShort:
    case Kind::kResponseReceiveFailed:
    case Kind::kResponseWaitFailed:
    case Kind::kRelayEnded:
      return EndRelay(event);
    default:
      return TakeOfRun(event, servers.size());
  }
}

void ProxyWatch::TakeOfRun(const ctl::TraceEvent& event, std::size_t servers) {
  switch (event.kind) {
    case ctl::TraceEventKind::kRunBegun:
      state_ = ProxyState::kStarting;
      reason_.clear();
      started_ = event.arrival;
      first_server_ = servers;
      servers_.assign(servers, Server());
      return;
    case ctl::TraceEventKind::kServing:
      state_ = ProxyState::kServing;
      return;
    case ctl::TraceEventKind::kBindFailed:
      reason_ = "port 53 of 127.0.0.1 could not be bound";
      return;
    case ctl::TraceEventKind::kNotStarted:
      state_ = ProxyState::kNotStarted;
      return;
    case ctl::TraceEventKind::kServiceEnded:
      state_ = ProxyState::kEnded;
      for (Server& server : servers_) server.waits_since = 0;
      return;
    default:
      return;
  }
}

void ProxyWatch::EndIntake(const ctl::TraceEvent& event) {
  state_ = ProxyState::kIntakeEnded;
  switch (event.kind) {
    case ctl::TraceEventKind::kQueryTooShort:
      reason_ = Datagram(event, ", shorter than a header, ended the intake of queries");
      return;
    case ctl::TraceEventKind::kQuestionCountRefused:
      reason_ = Datagram(event, " with ") +
                ctl::Counted(static_cast<std::uint64_t>(event.numbers[1]), "question") +
                " ended the intake of queries";
      return;
    case ctl::TraceEventKind::kDomainEmpty:
      reason_ = Datagram(event, " with an empty name ended the intake of queries");
      return;
    default:
      reason_ = "a failed system call ended the intake of queries";
  }
}

// The line that names the cause comes before the one that only says so.
void ProxyWatch::EndRelay(const ctl::TraceEvent& event) {
  if (event.kind == ctl::TraceEventKind::kResponseTooShort) {
    reason_ = Datagram(event, ", shorter than a header, ended the relay");
  } else if (state_ != ProxyState::kRelayEnded) {
    reason_ = "a failed system call ended the relay";
  }
  state_ = ProxyState::kRelayEnded;
}

void ProxyWatch::TakeOfServer(const ctl::TraceEvent& event) {
  if (event.server >= servers_.size()) return;
  Server& server = servers_[event.server];
  if (event.kind == ctl::TraceEventKind::kAsked) {
    ++server.asked;
    if (server.waits_since == 0) server.waits_since = event.arrival;
    return;
  }
  if (event.kind == ctl::TraceEventKind::kForwardFailed) {
    if (server.asked > 0) --server.asked;
    if (server.waits_since == event.arrival) server.waits_since = 0;
    return;
  }
  ++(event.kind == ctl::TraceEventKind::kRelayed ? server.answers : server.empty);
  server.waits_since = 0;
  server.last_response = event.arrival;
  if (event.query == nullptr) return;
  for (auto attempt = event.query->tries.rbegin(); attempt != event.query->tries.rend();
       ++attempt) {
    if (attempt->server != event.server || attempt->responded == 0) continue;
    server.times.push_back(attempt->responded - attempt->asked);
    if (server.times.size() > kTimes) server.times.pop_front();
    return;
  }
}

void ProxyWatch::Fill(Snapshot& snapshot, const std::vector<std::string>& servers) const {
  snapshot.state = state_;
  snapshot.state_reason = reason_;
  snapshot.started = started_ / kMicrosecondsInMillisecond;
  for (std::size_t at = 0; at < servers_.size() && at < servers.size(); ++at) {
    const Server& server = servers_[at];
    if (at < first_server_ && server.asked + server.answers + server.empty == 0) continue;
    ServerNow now;
    now.address = ctl::Shown(servers[at]);
    now.asked = server.asked;
    now.answers = server.answers;
    now.empty = server.empty;
    now.last_response = server.last_response / kMicrosecondsInMillisecond;
    now.waits_since = server.waits_since / kMicrosecondsInMillisecond;
    now.median = Percentile(server.times, 50);
    now.ninety_fifth = Percentile(server.times, 95);
    snapshot.servers.push_back(now);
  }
  const auto size = static_cast<std::int64_t>(per_second_.size());
  const std::int64_t current = snapshot.time / 1000;
  snapshot.last_second = current;
  for (std::int64_t second = current - size + 1; second <= current; ++second) {
    const bool is_counted = second <= second_ && second > second_ - size;
    snapshot.per_second.push_back(is_counted ? per_second_[static_cast<std::size_t>(second % size)]
                                             : 0);
  }
}

std::string ProxyWatch::Save() const {
  Json saved = {{"state", static_cast<int>(state_)},
                {"reason", reason_},
                {"started", started_},
                {"first_server", first_server_}};
  saved["servers"] = Json::array();
  for (const Server& server : servers_) {
    saved["servers"].push_back(
        {server.asked, server.answers, server.empty, server.last_response, server.waits_since});
  }
  return AsText(saved);
}

void ProxyWatch::Load(std::string_view text) {
  const auto saved = FromText(text, kSavedLevels);
  if (!saved.is_object()) return;
  try {
    ProxyWatch loaded;
    const int state = saved.at("state").get<int>();
    if (state < 0 || state > static_cast<int>(ProxyState::kEnded)) return;
    loaded.state_ = static_cast<ProxyState>(state);
    loaded.reason_ = saved.at("reason").get<std::string>();
    loaded.started_ = saved.at("started").get<std::int64_t>();
    loaded.first_server_ = saved.at("first_server").get<std::size_t>();
    for (const auto& row : saved.at("servers")) {
      Server server;
      server.asked = row.at(0).get<std::uint64_t>();
      server.answers = row.at(1).get<std::uint64_t>();
      server.empty = row.at(2).get<std::uint64_t>();
      server.last_response = row.at(3).get<std::int64_t>();
      server.waits_since = row.at(4).get<std::int64_t>();
      loaded.servers_.push_back(server);
    }
    *this = loaded;
  } catch (const Json::exception&) {
    // Saved by another version: the next start of the proxy tells everything again.
  }
}

}  // namespace page
