#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/trace/line_table.h"
#include "common/trace/queries_in_flight.h"
#include "common/trace/run_start.h"
#include "common/trace/worker_steps.h"

namespace ctl {

constexpr auto kNowhere = std::string_view::npos;

/// What the reading of a line depends on. Small, to be copied for a trial.
struct ReadingState {
  static constexpr std::int32_t kUnknown = -1;

  WorkerSteps steps;
  RunStart start;
  std::int32_t next_id = kUnknown;        ///< of the next accepted query
  std::int64_t datagram_size = kUnknown;  ///< of the query that the query thread is at work on
  std::string next_name;                  ///< of the next query, when the relay has shown it first

  void Forget();
  /// The line is the next one: false, with nothing changed but a trial's copy, when it can't be.
  /// Null for `printer` when it is main's.
  bool Place(const LineFields& fields, bool strict, const Worker*& printer);
};

/// The names that the trace may show, by the ids that it shows with them.
class KnownNames {
 public:
  explicit KnownNames(const QueriesInFlight& queries) : queries_(&queries) {}

  /// Queries that were accepted before the first line that was read have ids but no names here.
  std::vector<bool> ids_without_name;
  std::string decoded;  ///< line 432 has come alone with this name

  bool IsNamed(std::int32_t id, std::string_view name) const;
  bool MayBeWithoutName(std::int32_t id) const;
  bool MayBeGiven(std::int32_t id) const;
  template <typename Take>
  bool AnyName(std::int32_t id, Take take) const {
    for (const auto& [tried, name] : tried_) {
      if (tried == id && take(name)) return true;
    }
    return queries_->AnyName(static_cast<std::uint16_t>(id), take);
  }
  bool AnyWithLineFeed() const { return !tried_.empty() || queries_->with_line_feed() > 0; }
  bool MayBecomeLongName(std::string_view text) const;

  /// Names that a trial has come across.
  void Try(std::int32_t id, std::string_view name) { tried_.emplace_back(id, name); }
  std::size_t tried() const { return tried_.size(); }
  void ForgetTriedFrom(std::size_t count) { tried_.resize(count); }

 private:
  const QueriesInFlight* queries_;
  std::vector<std::pair<std::int32_t, std::string_view>> tried_;
};

/// The line, or lines 432 and 464 together, that `text` begins with. To read a name is to know
/// where it ends, and a name may hold line feeds and whole lines. Line 464 follows line 432
/// directly and repeats its name, so the name ends where this repetition begins. A name that itself
/// holds such a place can be read in two ways. The right one is that behind which the trace goes on
/// without a contradiction. Names in other lines are known by their id.
///
/// One name may be shown before its own lines: the query thread files a query, which gets the next
/// id, before it hands over the lines about it. A forged response may be taken for that query in
/// between, and the answer thread prints the name. No other query can be in this place, since the
/// query thread is at work on one at a time. Such a name is read when the line shows no name that
/// is known. It has to be the one that lines 432 and 464 then show for this id.
///
/// kMore: more of the trace is needed to tell; never when `is_all`. kNo: the proxy prints no such
/// line, or the line is broken off. A name in it is at most `doubtful` bytes long.
class LineReading {
 public:
  LineReading(const ReadingState& state, KnownNames& names) : state_(&state), names_(&names) {}

  Fit Read(std::string_view text, bool is_all, LineFields& fields);
  std::size_t doubtful() const { return doubtful_; }
  /// Whether `text` continues the trace as a run that begins there.
  Fit BeginsRun(std::string_view text, bool is_all);

 private:
  using Readings = std::vector<LineFields>;

  Fit Collect(const ReadingState& state, std::string_view text, bool is_all, LineFields& fields);
  Fit CollectDecoded(const ReadingState& state, std::string_view text, bool is_all,
                     const LineFields& head);
  Fit FitDecoded(const ReadingState& state, std::string_view text, bool is_all, std::size_t begin,
                 std::size_t end, LineFields& fields) const;
  Fit CollectDecodedAlone(std::string_view text, bool is_all, const LineFields& head);
  Fit CollectByTail(std::string_view text, bool is_all, const LineFields& head);
  Fit CollectWithoutAnswer(std::string_view text, const LineFields& head);
  bool MayBeOfNext(const ReadingState& state) const;
  template <typename Accepts>
  Fit CollectEnds(std::string_view text, bool is_all, std::size_t most, const LineFields& head,
                  std::size_t field, Accepts accepts);
  Fit CollectOfNext(const ReadingState& state, std::string_view text, bool is_all, LineFields head,
                    std::size_t field);
  Fit CollectFiledAlone(const ReadingState& state, std::string_view text, const LineFields& head);
  Fit Choose(std::string_view text, bool is_all, LineFields& fields);
  bool GoesOn(ReadingState state, const LineFields& first, std::string_view text, bool is_all,
              std::size_t& reached);

  const ReadingState* state_;
  KnownNames* names_;
  const LineRow* likely_[kLines] = {};  // behind each line, what came behind it last time
  std::size_t last_ = 0;
  Readings readings_;  // of the line at hand, the longest first, when there are names in it
  std::size_t doubtful_ = 0;
  std::size_t budget_ = 0;
};

}  // namespace ctl
