#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <vector>

#include "page/live/snapshot.h"

namespace page {

/// What the thread that reads the trace hands to the one that serves the page. Safe from both.
class LiveState {
 public:
  static constexpr std::size_t kMostRecent = 500;

  // From the thread that reads the trace.

  /// `ended`: the queries that have ended since the last call.
  void Publish(Snapshot snapshot, std::vector<Query> ended);
  /// The queries that have ended are to be read from the database: one of them has not.
  void ForgetEnded();
  /// Whether what has been seen is to be written to the database now.
  bool IsCommitWanted();
  void Committed(int generation);

  // From the thread that serves.

  Snapshot Now();
  /// The queries that have ended after the one with the id `last`, oldest first, at most
  /// kMostRecent; `skipped` how many more there were.
  std::vector<Query> EndedAfter(std::int64_t last, std::uint64_t& skipped);
  std::int64_t LastId();
  /// Counts the calls of `Publish`.
  std::uint64_t Version();
  /// Waits until all that has been seen is in the database, `milliseconds` at most. `wake` wakes
  /// the reading thread.
  void WaitForCommit(const std::function<void()>& wake, int milliseconds);
  /// Grows each time the database is begun again.
  int DatabaseGeneration();

 private:
  std::mutex mutex_;
  std::condition_variable committed_;
  Snapshot snapshot_;
  std::deque<Query> recent_;
  std::uint64_t version_ = 0;
  std::uint64_t commits_wanted_ = 0;
  std::uint64_t commits_done_ = 0;
  std::uint64_t commit_begun_ = 0;
  int generation_ = 0;
};

}  // namespace page
