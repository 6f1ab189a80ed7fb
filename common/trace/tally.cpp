#include "common/trace/tally.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "common/output/shown_text.h"

namespace ctl {
namespace {

std::string Datagram(const TraceEvent& event, const std::string& rest) {
  return "a datagram of " + std::to_string(event.numbers[0]) + " bytes from " +
         Shown(event.address) + rest;
}

}  // namespace

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

RunState Tally::run_state() const {
  const bool is_up = run_state_ == RunState::kServing || run_state_ == RunState::kNoStartSeen;
  return is_up && intake_.has_ended ? RunState::kNotTakingQueries : run_state_;
}

void Tally::Take(const TraceEvent& event) {
  if (event.kind >= TraceEventKind::kUnknownResponse) return TakeOfRelay(event);
  if (event.kind >= TraceEventKind::kAccepted) return TakeOfQuery(event);
  if (event.kind >= TraceEventKind::kQueryTooShort) return TakeOfIntake(event);
  TakeOfRun(event);
}

// Until the next start, nothing of an earlier run holds any more.
void Tally::TakeOfRun(const TraceEvent& event) {
  switch (event.kind) {
    case TraceEventKind::kRunBegun:
      ++starts_;
      run_state_ = RunState::kStarting;
      intake_ = WorkerEnd();
      relay_ = WorkerEnd();
      return;
    case TraceEventKind::kServing:
      run_state_ = RunState::kServing;
      return;
    case TraceEventKind::kNotStarted:
      run_state_ = RunState::kNotStarted;
      return;
    case TraceEventKind::kServiceEnded:
      run_state_ = RunState::kEnded;
      return;
    default:
      return;
  }
}

void Tally::TakeOfIntake(const TraceEvent& event) {
  std::string cause;
  switch (event.kind) {
    case TraceEventKind::kQueryTooShort:
      Drop(DropReason::kQueryTooShort);
      cause = Datagram(event, ", shorter than a header");
      break;
    case TraceEventKind::kQuestionCountRefused:
      Drop(DropReason::kQuestionCount);
      cause = Datagram(
          event, " with " + Counted(static_cast<std::uint64_t>(event.numbers[1]), "question"));
      break;
    case TraceEventKind::kDomainEmpty:
      Drop(DropReason::kNameEmpty);
      cause = Datagram(event, " with an empty name");
      break;
    case TraceEventKind::kQueryReceiveFailed:
      cause = "a failed receive call";
      break;
    case TraceEventKind::kQueryWaitFailed:
      cause = "a failed wait for its socket";
      break;
    default:
      ++names_cut_short_;
      return;
  }
  intake_ = {true, event.line, cause};
}

void Tally::TakeOfRelay(const TraceEvent& event) {
  switch (event.kind) {
    case TraceEventKind::kUnknownResponse:
      return Drop(DropReason::kUnknownResponse);
    case TraceEventKind::kResponseTooShort:
      Drop(DropReason::kResponseTooShort);
      relay_ = {true, event.line, Datagram(event, ", shorter than a header")};
      return;
    case TraceEventKind::kResponseReceiveFailed:
      relay_ = {true, event.line, "a failed receive call"};
      return;
    case TraceEventKind::kResponseWaitFailed:
      relay_ = {true, event.line, "a failed wait for its socket"};
      return;
    default:
      return;
  }
}

void Tally::EndQuery(const TraceEvent& event, std::uint64_t& outcome) {
  ++outcome;
  if (event.query->number == 0) ++from_before_;
}

void Tally::TakeOfQuery(const TraceEvent& event) {
  switch (event.kind) {
    case TraceEventKind::kAccepted:
      ++accepted_;
      return names_.Add(event.query->name);
    case TraceEventKind::kAsked:
      ++CountsOf(event.server).asked;
      return;
    case TraceEventKind::kForwardFailed:
      --CountsOf(event.server).asked;
      if (event.numbers[1] == 0) return;
      return EndQuery(event, drops_[Index(DropReason::kNotSentToServer)]);
    case TraceEventKind::kFoundInHostMap:
      return EndQuery(event, from_host_map_);
    case TraceEventKind::kExhausted:
      return EndQuery(event, no_such_name_);
    case TraceEventKind::kRelayed:
      ++CountsOf(event.server).answers;
      return EndQuery(event, answered_);
    case TraceEventKind::kWithoutAnswer:
      ++CountsOf(event.server).empty;
      return;
    case TraceEventKind::kWrongSource:
      return Drop(DropReason::kWrongSource);
    case TraceEventKind::kAnswerNotSent:
      return Drop(DropReason::kNotSentToApplication);
    case TraceEventKind::kLost:
      return Drop(event.query->loss);
    default:  // kNotLost
      --drops_[Index(DropReason::kIdStillWaiting)];
  }
}

// Queries to a server that is not known are counted where nobody reads.
ServerCounts& Tally::CountsOf(std::uint16_t server) {
  const std::size_t place = server == TraceEvent::kNoServer ? 0 : server + std::size_t{1};
  if (place >= servers_.size()) servers_.resize(place + 1);
  return servers_[place];
}

std::vector<ServerCounts> Tally::Servers() const {
  std::vector<ServerCounts> servers;
  for (const std::string& address : reader_.servers()) {
    const std::size_t place = servers.size() + 1;
    servers.push_back(place < servers_.size() ? servers_[place] : ServerCounts());
    servers.back().address = address;
  }
  for (const Query* query : reader_.Waiting(reader_.waiting())) {
    const std::uint16_t server =
        query->tries.empty() ? TraceEvent::kNoServer : query->tries.back().server;
    if (server != TraceEvent::kNoServer) ++servers[server].waiting;
  }
  return servers;
}

void NameCounts::Add(std::string_view name) {
  key_.assign(name);
  const auto found = counts_.find(key_);
  if (found != counts_.end()) {
    ++found->second;
    return;
  }
  if (counts_.size() >= kMostNames || bytes_ >= kMostBytes) Forget();
  counts_.emplace(key_, 1);
  bytes_ += key_.size();
}

// The lower half is removed, and all names with the same count as its highest one.
void NameCounts::Forget() {
  std::vector<std::uint64_t> numbers;
  numbers.reserve(counts_.size());
  for (const auto& [name, count] : counts_) numbers.push_back(count);
  const auto middle = numbers.begin() + static_cast<std::ptrdiff_t>(numbers.size() / 2);
  std::nth_element(numbers.begin(), middle, numbers.end());
  const std::uint64_t limit = *middle;
  for (auto entry = counts_.begin(); entry != counts_.end();) {
    const bool goes = entry->second <= limit;
    if (goes) bytes_ -= entry->first.size();
    entry = goes ? counts_.erase(entry) : std::next(entry);
  }
  has_forgotten_ = true;
}

std::vector<NameCounts::Count> NameCounts::Busiest(std::size_t most) const {
  using Entry = const std::pair<const std::string, std::uint64_t>*;
  std::vector<Entry> entries;
  entries.reserve(counts_.size());
  for (const auto& entry : counts_) entries.push_back(&entry);
  const std::size_t kept = std::min(most, entries.size());
  std::partial_sort(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(kept),
                    entries.end(), [](Entry left, Entry right) {
                      if (left->second != right->second) return left->second > right->second;
                      return left->first < right->first;
                    });
  std::vector<Count> busiest;
  for (std::size_t at = 0; at < kept; ++at) {
    busiest.push_back({entries[at]->first, entries[at]->second});
  }
  return busiest;
}

}  // namespace ctl
