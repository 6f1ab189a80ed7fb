#include "page/follow/recorder.h"

#include <algorithm>
#include <utility>

#include "common/output/shown_text.h"
#include "page/wall_clock.h"

namespace page {
namespace {

constexpr std::int64_t kBetweenCommitsMs = 5000;
constexpr std::int64_t kBetweenPublicationsMs = 100;
constexpr std::size_t kQueriesToCommit = 5000;
constexpr std::size_t kMostPlaces = 1 << 16;

Outcome OutcomeOf(ctl::Outcome outcome) {
  switch (outcome) {
    case ctl::Outcome::kFromHostMap:
      return Outcome::kHostMap;
    case ctl::Outcome::kAnswered:
      return Outcome::kAnswered;
    case ctl::Outcome::kNoSuchName:
      return Outcome::kNoSuchName;
    default:
      return Outcome::kLost;
  }
}

}  // namespace

Recorder::Recorder(Store& store, LiveState& live, bool keeps_queries)
    : store_(store), live_(live), batch_(keeps_queries) {
  reader_.AddConsumer(*this);
}

TracePlace Recorder::Resume(const DayCounts& day) {
  const Progress progress = store_.LoadProgress();
  day_ = day;
  last_id_ = progress.last_id;
  has_news_ = true;
  if (!reader_.Load(progress.reading)) return {};
  watch_.Load(progress.proxy);
  last_arrival_ = progress.at * kMicrosecondsInMillisecond;
  return progress.place;
}

void Recorder::Feed(std::string_view bytes, std::int64_t arrival, const TracePlace& begin,
                    bool was_watched) {
  last_arrival_ = std::max(last_arrival_, arrival);
  if (!was_watched) watched_since_ = last_arrival_ + 1;
  piece_ = begin;
  has_news_ = has_uncommitted_ = true;
  reader_.Feed(bytes, last_arrival_);
}

void Recorder::EndFile() {
  has_news_ = has_uncommitted_ = true;
  reader_.EndFile();
}

std::string Recorder::Address(std::uint16_t server) const {
  const std::vector<std::string>& servers = reader_.servers();
  return server < servers.size() ? ctl::Shown(servers[server]) : "";
}

void Recorder::Drop(ctl::DropReason reason, std::int64_t arrival) {
  batch_.AddDrop(arrival / kMicrosecondsInMillisecond, static_cast<std::int64_t>(reason));
  day_.Add(arrival / kMicrosecondsInMillisecond, DayCounts::KindOf(reason));
}

void Recorder::Take(const ctl::TraceEvent& event) {
  using Kind = ctl::TraceEventKind;
  using Reason = ctl::DropReason;
  watch_.Take(event, reader_.servers());
  switch (event.kind) {
    case Kind::kQueryTooShort:
      return Drop(Reason::kQueryTooShort, event.arrival);
    case Kind::kQuestionCountRefused:
      return Drop(Reason::kQuestionCount, event.arrival);
    case Kind::kDomainEmpty:
      return Drop(Reason::kNameEmpty, event.arrival);
    case Kind::kAnswerNotSent:
      return Drop(Reason::kNotSentToApplication, event.arrival);
    case Kind::kUnknownResponse:
      return Drop(Reason::kUnknownResponse, event.arrival);
    case Kind::kWrongSource:
      return Drop(Reason::kWrongSource, event.arrival);
    case Kind::kResponseTooShort:
      return Drop(Reason::kResponseTooShort, event.arrival);
    case Kind::kAccepted:
      if (places_.size() < kMostPlaces) places_[event.query->number] = piece_;
      return;
    case Kind::kNotLost:
      return TakeBackLost(*event.query);
    case Kind::kForwardFailed:
      if (event.numbers[1] == 0) return;  // it had ended before
      Drop(Reason::kNotSentToServer, event.arrival);
      break;
    case Kind::kLost:
      if (event.query != nullptr) Drop(event.query->loss, event.arrival);
      break;
    case Kind::kFoundInHostMap:
    case Kind::kExhausted:
    case Kind::kRelayed:
      break;
    default:
      return;
  }
  if (event.query != nullptr) Finish(event);
}

// It was counted and recorded as lost at the moment at which it came. The id that is left out has
// the page load its log again.
void Recorder::TakeBackLost(const ctl::Query& query) {
  Query lost;
  lost.asked = lost.ended = query.begun / kMicrosecondsInMillisecond;
  lost.name = ctl::Shown(query.name);
  batch_.TakeBack(lost);
  batch_.AddDrop(lost.ended, static_cast<std::int64_t>(ctl::DropReason::kIdStillWaiting), -1);
  day_.TakeBack(lost.ended, DayCounts::KindOf(Outcome::kLost));
  day_.TakeBack(lost.ended, DayCounts::KindOf(ctl::DropReason::kIdStillWaiting));
  ended_.clear();
  live_.ForgetEnded();
  ++last_id_;
}

void Recorder::FillAttempts(const ctl::TraceEvent& event, Query& record) const {
  const ctl::Query& query = *event.query;
  for (const ctl::Try& attempt : query.tries) {
    Attempt made;
    made.server = Address(attempt.server);
    const bool is_last = &attempt == &query.tries.back();
    if (attempt.responded != 0) {
      const bool is_answer = is_last && query.outcome == ctl::Outcome::kAnswered;
      made.reaction = is_answer ? Reaction::kAnswered : Reaction::kEmpty;
      if (attempt.asked >= watched_since_) made.microseconds = attempt.responded - attempt.asked;
    }
    record.attempts.push_back(made);
  }
  if (event.kind == ctl::TraceEventKind::kForwardFailed) {
    record.attempts.push_back({Address(event.server), Reaction::kNotSent, std::nullopt});
  }
  // The line names its server also when those that say whom it was sent to are not at hand.
  if (event.kind == ctl::TraceEventKind::kRelayed && query.tries.empty()) {
    record.attempts.push_back({Address(event.server), Reaction::kAnswered, std::nullopt});
  }
}

void Recorder::Finish(const ctl::TraceEvent& event) {
  const ctl::Query& query = *event.query;
  Query record;
  record.id = ++last_id_;
  // One that came before the first line that was read has no beginning.
  record.asked = (query.number == 0 ? query.ended : query.begun) / kMicrosecondsInMillisecond;
  record.ended = query.ended / kMicrosecondsInMillisecond;
  record.name = ctl::Shown(query.name);
  record.outcome = OutcomeOf(query.outcome);
  FillAttempts(event, record);
  if (record.outcome != Outcome::kLost && query.number != 0 && query.begun >= watched_since_) {
    record.microseconds = query.ended - query.begun;
  }
  const auto place = places_.find(query.number);
  if (place != places_.end()) {
    record.place = place->second;
    places_.erase(place);
  }
  day_.Add(record.ended, DayCounts::KindOf(record.outcome));
  batch_.AddQuery(record);
  ended_.push_back(std::move(record));
  if (ended_.size() > 2 * LiveState::kMostRecent) {
    ended_.erase(ended_.begin(), ended_.begin() + LiveState::kMostRecent);
  }
}

void Recorder::CommitIfDue(const TracePlace& file, std::int64_t now_ms, bool at_once) {
  const bool is_wanted = live_.IsCommitWanted() || at_once;
  const bool is_due = has_uncommitted_ && now_ms >= next_commit_;
  const bool is_large =
      batch_.queries().size() >= kQueriesToCommit || batch_.bytes() >= Batch::kMostBytes / 2;
  const bool is_full = is_large && !is_failing_;
  store_.PruneIfDue(now_ms);
  if (!is_wanted && !is_due && !is_full) return;
  if (has_uncommitted_) {
    Progress progress;
    progress.place = file;
    progress.place.offset = reader_.offset();
    progress.at = last_arrival_ / kMicrosecondsInMillisecond;
    progress.last_id = last_id_;
    progress.reading = reader_.Save();
    progress.proxy = watch_.Save();
    const bool is_written = store_.Commit(batch_, progress);
    if (is_failing_ == is_written) has_news_ = true;
    is_failing_ = !is_written;
    has_uncommitted_ = !is_written;
  }
  next_commit_ = now_ms + kBetweenCommitsMs;
  live_.Committed(store_.generation());
}

void Recorder::FillWaiting(Snapshot& snapshot) const {
  snapshot.waiting_count = reader_.waiting();
  for (const ctl::Query* query : reader_.Waiting(Snapshot::kMostWaiting)) {
    WaitingNow waiting;
    waiting.name = ctl::Shown(query->name);
    waiting.since = query->begun / kMicrosecondsInMillisecond;
    if (!query->tries.empty()) waiting.server = Address(query->tries.back().server);
    snapshot.waiting.push_back(std::move(waiting));
  }
  std::stable_sort(
      snapshot.waiting.begin(), snapshot.waiting.end(),
      [](const WaitingNow& left, const WaitingNow& right) { return left.since < right.since; });
}

void Recorder::PublishIfDue(const std::string& trouble, std::int64_t now_ms, bool at_once) {
  if (!has_news_ && !at_once) return;
  if (now_ms < next_publication_ && !at_once) return;
  Snapshot snapshot;
  snapshot.time = now_ms;
  snapshot.is_trace_read = trouble.empty();
  snapshot.trace_trouble = trouble;
  snapshot.trace_changed = last_arrival_ / kMicrosecondsInMillisecond;
  watch_.Fill(snapshot, reader_.servers());
  FillWaiting(snapshot);
  snapshot.day = day_.Sum(now_ms);
  snapshot.lines = reader_.lines();
  snapshot.not_understood = reader_.not_understood();
  snapshot.is_database_failing = is_failing_;
  live_.Publish(std::move(snapshot), std::exchange(ended_, {}));
  has_news_ = false;
  next_publication_ = now_ms + kBetweenPublicationsMs;
}

int Recorder::UntilDue(std::int64_t now_ms) const {
  if (store_.HasMoreToPrune()) return 0;
  std::int64_t until = -1;
  if (has_news_) until = std::max<std::int64_t>(0, next_publication_ - now_ms);
  if (has_uncommitted_) {
    const std::int64_t commit = std::max<std::int64_t>(0, next_commit_ - now_ms);
    until = until < 0 ? commit : std::min(until, commit);
  }
  return static_cast<int>(until);
}

}  // namespace page
