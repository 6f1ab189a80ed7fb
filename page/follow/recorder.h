#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "common/trace/trace_event.h"
#include "common/trace/trace_reader.h"
#include "page/follow/proxy_watch.h"
#include "page/live/live_state.h"
#include "page/memory/batch.h"
#include "page/memory/store.h"

namespace page {

/// Turns the trace's events into what is remembered and what is shown. For one thread, except for
/// what `LiveState` hands to another. Arrival times are microseconds since 1970.
class Recorder : public ctl::TraceConsumer {
 public:
  Recorder(Store& store, LiveState& live, bool keeps_queries);

  /// Where to go on reading; empty at the first start, and when the last file had been read to its
  /// end and no other was there.
  TracePlace Resume(const DayCounts& day);

  /// The next bytes, read from this place. `was_watched`: they were read as they came, so that the
  /// times between them are meaningful.
  void Feed(std::string_view bytes, std::int64_t arrival, const TracePlace& begin,
            bool was_watched);
  /// The file has no more.
  void EndFile();

  /// Writes to the database when that is due. `end`: of what has been read.
  void CommitIfDue(const TracePlace& file, std::int64_t now_ms, bool at_once);
  /// Hands the present state to the page when that is due. `trouble`: why the trace can't be read.
  void PublishIfDue(const std::string& trouble, std::int64_t now_ms, bool at_once);
  /// When one of the two is due next, in milliseconds from now; -1 when nothing has happened.
  int UntilDue(std::int64_t now_ms) const;
  std::int64_t LastArrival() const { return last_arrival_; }

  void Take(const ctl::TraceEvent& event) override;

 private:
  void Drop(ctl::DropReason reason, std::int64_t arrival);
  void TakeBackLost(const ctl::Query& query);
  void Finish(const ctl::TraceEvent& event);
  void FillAttempts(const ctl::TraceEvent& event, Query& record) const;
  std::string Address(std::uint16_t server) const;
  void FillWaiting(Snapshot& snapshot) const;

  Store& store_;
  LiveState& live_;
  ctl::TraceReader reader_;
  ProxyWatch watch_;
  Batch batch_;
  DayCounts day_;
  std::vector<Query> ended_;                    // since the last publication
  std::map<std::uint64_t, TracePlace> places_;  // of the first lines of waiting queries
  TracePlace piece_;
  std::int64_t watched_since_ = 0;
  std::int64_t last_arrival_ = 0;
  std::int64_t last_id_ = 0;
  bool has_news_ = false;
  bool has_uncommitted_ = false;
  bool is_failing_ = false;
  std::int64_t next_commit_ = 0;
  std::int64_t next_publication_ = 0;
};

}  // namespace page
