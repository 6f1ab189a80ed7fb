#include <algorithm>
#include <utility>

#include "common/output/shown_text.h"
#include "common/trace/tally.h"

namespace ctl {

const char* InWords(DropReason reason) {
  switch (reason) {
    case DropReason::kQueryTooShort:
      return "query shorter than a header";
    case DropReason::kQuestionCount:
      return "query without exactly one question";
    case DropReason::kNameEmpty:
      return "query with an empty name";
    case DropReason::kIdStillWaiting:
      return "query whose number was still waiting";
    case DropReason::kNotSentToServer:
      return "query not sent, the system refused";
    case DropReason::kNotSentToApplication:
      return "answer not sent, the system refused";
    case DropReason::kResponseTooShort:
      return "response shorter than a header";
    case DropReason::kUnknownResponse:
      return "response to no waiting query";
    case DropReason::kWrongSource:
      return "response from the wrong server";
    case DropReason::kLostAtEnd:
      return "query still waiting at the end of a run";
  }
  return "";
}

// Until the next start, nothing of an earlier run holds any more.
void Tally::BeginRun() {
  ForgetWaiting();
  ++starts_;
  run_state_ = RunState::kStarting;
  intake_ = WorkerEnd();
  relay_ = WorkerEnd();
  methods_.clear();
}

void Tally::EndRun(RunState state) {
  ForgetWaiting();
  run_state_ = state;
}

void Tally::ForgetWaiting() {
  for (InFlight& query : in_flight_) {
    if (!query.is_filed) continue;
    Drop(DropReason::kLostAtEnd);
    query.is_filed = false;
  }
}

// The new query is the one that is lost: the fallback goes on with the one that is filed.
void Tally::FileRequest(const Event& event) {
  ++queries_;
  names_.Add(event.name);
  InFlight& query = in_flight_[event.LastNumberAsId()];
  if (query.is_filed) {
    Drop(DropReason::kIdStillWaiting);
    return;
  }
  query.is_filed = true;
  query.server = -1;
  query.name = event.name;
}

void Tally::SendToServer() {
  InFlight& query = in_flight_[current_id_];
  const auto position = static_cast<std::size_t>(current_position_);
  query.server = position < methods_.size() ? methods_[position] : -1;
  if (query.server >= 0) ++servers_[static_cast<std::size_t>(query.server)].asked;
}

void Tally::FailToSend(std::uint16_t id) {
  const std::int32_t server = in_flight_[id].server;
  if (server >= 0) --servers_[static_cast<std::size_t>(server)].asked;
  Drop(DropReason::kNotSentToServer);
  Settle(id);
}

void Tally::Settle(std::uint16_t id) { in_flight_[id].is_filed = false; }

void Tally::EndWorker(WorkerEnd& worker, std::string cause) {
  worker = {true, lines_, std::move(cause)};
}

std::string Tally::LastDatagram(const char* rest) const {
  return "a datagram of " + std::to_string(datagram_length_) + " bytes from " +
         Shown(datagram_sender_) + rest;
}

std::int32_t Tally::ServerAt(std::string_view address) {
  const auto next = static_cast<std::int32_t>(servers_.size());
  const auto [found, is_new] = server_indices_.emplace(address, next);
  if (is_new) servers_.push_back({found->first});
  return found->second;
}

std::uint64_t Tally::waiting() const {
  return static_cast<std::uint64_t>(std::count_if(
      in_flight_.begin(), in_flight_.end(), [](const InFlight& query) { return query.is_filed; }));
}

std::vector<ServerCounts> Tally::Servers() const {
  std::vector<ServerCounts> servers = servers_;
  for (const InFlight& query : in_flight_) {
    if (query.is_filed && query.server >= 0)
      ++servers[static_cast<std::size_t>(query.server)].waiting;
  }
  return servers;
}

std::vector<WaitingQuery> Tally::Waiting(std::size_t most) const {
  std::vector<WaitingQuery> waiting;
  for (const InFlight& query : in_flight_) {
    if (waiting.size() == most) break;
    if (!query.is_filed) continue;
    const bool known = query.server >= 0;
    waiting.push_back(
        {query.name, known ? servers_[static_cast<std::size_t>(query.server)].address : ""});
  }
  return waiting;
}

std::string Tally::CurrentServer() const {
  const auto position = static_cast<std::size_t>(current_position_);
  if (position >= methods_.size() || methods_[position] < 0) return "";
  return servers_[static_cast<std::size_t>(methods_[position])].address;
}

}  // namespace ctl
