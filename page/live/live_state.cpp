#include "page/live/live_state.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace page {

const char* KeyOf(ProxyState state) {
  switch (state) {
    case ProxyState::kUnknown:
      return "unknown";
    case ProxyState::kStarting:
      return "starting";
    case ProxyState::kServing:
      return "serving";
    case ProxyState::kIntakeEnded:
      return "intake_ended";
    case ProxyState::kRelayEnded:
      return "relay_ended";
    case ProxyState::kNotStarted:
      return "not_started";
    case ProxyState::kEnded:
      return "ended";
  }
  return "";
}

void Snapshot::MoveSecondsTo(std::int64_t second) {
  const std::int64_t passed = std::clamp<std::int64_t>(
      second - last_second, 0, static_cast<std::int64_t>(per_second.size()));
  per_second.erase(per_second.begin(), per_second.begin() + passed);
  per_second.insert(per_second.end(), static_cast<std::size_t>(passed), 0);
  last_second = std::max(last_second, second);
}

void LiveState::Publish(Snapshot snapshot, std::vector<Query> ended) {
  const std::lock_guard<std::mutex> lock(mutex_);
  snapshot_ = std::move(snapshot);
  for (Query& query : ended) recent_.push_back(std::move(query));
  while (recent_.size() > kMostRecent) recent_.pop_front();
  ++version_;
}

void LiveState::ForgetEnded() {
  const std::lock_guard<std::mutex> lock(mutex_);
  recent_.clear();
}

bool LiveState::IsCommitWanted() {
  const std::lock_guard<std::mutex> lock(mutex_);
  commit_begun_ = commits_wanted_;
  return commits_done_ < commits_wanted_;
}

void LiveState::Committed(int generation) {
  const std::lock_guard<std::mutex> lock(mutex_);
  generation_ = generation;
  commits_done_ = commit_begun_;
  committed_.notify_all();
}

Snapshot LiveState::Now() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return snapshot_;
}

std::vector<Query> LiveState::EndedAfter(std::int64_t last, std::uint64_t& skipped) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto first = std::find_if(recent_.begin(), recent_.end(),
                                  [last](const Query& query) { return query.id > last; });
  skipped = 0;
  if (first != recent_.end()) skipped = static_cast<std::uint64_t>(first->id - last - 1);
  return {first, recent_.end()};
}

std::int64_t LiveState::LastId() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return recent_.empty() ? 0 : recent_.back().id;
}

std::uint64_t LiveState::Version() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return version_;
}

void LiveState::WaitForCommit(const std::function<void()>& wake, int milliseconds) {
  std::unique_lock<std::mutex> lock(mutex_);
  const std::uint64_t wanted = ++commits_wanted_;
  wake();
  committed_.wait_for(lock, std::chrono::milliseconds(milliseconds),
                      [&] { return commits_done_ >= wanted; });
}

int LiveState::DatabaseGeneration() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return generation_;
}

}  // namespace page
