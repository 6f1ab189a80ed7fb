#include "page/memory/batch.h"

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

void Batch::AddDrop(std::int64_t milliseconds, std::int64_t reason) {
  ++At(milliseconds, kDropSeries + reason, "").queries;
}

void Batch::TakeBackLost(std::int64_t milliseconds, const std::string& server) {
  --At(milliseconds, static_cast<std::int64_t>(Outcome::kLost), server).queries;
}

void Batch::Clear() {
  totals_.clear();
  queries_.clear();
  bytes_ = 0;
}

}  // namespace page
