#include "page/memory/batch.h"

#include <algorithm>

#include "page/memory/schema.h"

namespace page {
namespace {

constexpr std::int64_t kMinuteMs = 60000;

std::size_t BytesOf(const Query& query) { return 64 + query.name.size(); }

}  // namespace

Batch::Total& Batch::At(std::int64_t milliseconds, std::int64_t series, const std::string& server) {
  return totals_[{milliseconds / kMinuteMs * 60, series, server}];
}

void Batch::AddQuery(const Query& query) {
  Total& total = At(query.ended, static_cast<std::int64_t>(query.outcome), query.Server());
  ++total.queries;
  if (query.microseconds) total.times.Add(*query.microseconds);
  for (const Attempt& attempt : query.attempts) {
    if (attempt.reaction != Reaction::kNotSent) {
      ++At(query.ended, kAskedSeries, attempt.server).queries;
    }
    if (attempt.reaction == Reaction::kEmpty) {
      ++At(query.ended, kEmptySeries, attempt.server).queries;
    }
    if (attempt.reaction != Reaction::kAnswered && attempt.reaction != Reaction::kEmpty) continue;
    Total& responses = At(query.ended, kServerSeries, attempt.server);
    ++responses.queries;
    if (attempt.microseconds) responses.times.Add(*attempt.microseconds);
  }
  if (!keeps_queries_) return;
  queries_.push_back(query);
  bytes_ += BytesOf(query);
  while (queries_.size() > kMostQueries || bytes_ > kMostBytes) {
    bytes_ -= BytesOf(queries_.front());
    queries_.pop_front();
  }
}

void Batch::AddDrop(std::int64_t milliseconds, std::int64_t reason, std::int64_t count) {
  At(milliseconds, kDropSeries + reason, "").queries += count;
}

void Batch::TakeBack(const Query& lost) {
  --At(lost.ended, static_cast<std::int64_t>(Outcome::kLost), "").queries;
  if (!keeps_queries_) return;
  const auto found = std::find_if(queries_.begin(), queries_.end(), [&lost](const Query& query) {
    return query.asked == lost.asked && query.outcome == Outcome::kLost && query.attempts.empty() &&
           query.name == lost.name;
  });
  if (found == queries_.end()) {
    taken_back_.push_back(lost);
    if (taken_back_.size() > kMostQueries) taken_back_.pop_front();
    return;
  }
  bytes_ -= BytesOf(*found);
  queries_.erase(found);
}

void Batch::Clear() {
  totals_.clear();
  queries_.clear();
  taken_back_.clear();
  bytes_ = 0;
}

}  // namespace page
