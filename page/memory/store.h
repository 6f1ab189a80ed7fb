#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "page/memory/batch.h"
#include "page/memory/database.h"
#include "page/memory/query.h"

namespace page {

struct StoreLimits {
  std::int64_t bytes = std::int64_t{64} << 20;  ///< of the database and its log together
  std::int64_t query_hours = 24;                ///< how long single queries are kept; 0: not at all
};

/// How far the trace had been read when its results were written: where to go on, and what was in
/// flight there.
struct Progress {
  TracePlace place;
  std::int64_t at = 0;       ///< milliseconds since 1970
  std::int64_t last_id = 0;  ///< of the queries
  std::string reading;       ///< ctl::TraceReader::Save
  std::string proxy;         ///< ProxyWatch::Save
};

/// Writes what has been seen to the database. One thread. Nothing that goes wrong with the database
/// ends the program: it waits until a full disk has room again, and puts a damaged database aside
/// and begins another. Each is reported once, in one line.
class Store {
 public:
  using Tell = std::function<void(const std::string& sentence)>;

  /// Opens the database, or makes it. DatabaseError when there can't be one.
  Store(std::string path, StoreLimits limits, Tell tell);
  ~Store();

  /// Where the last run has come to; an empty place and state in a new database.
  Progress LoadProgress();

  /// Reads the whole database for damage.
  void Check();

  /// Writes the batch and the progress, both or neither, and empties the batch. False when that was
  /// not possible: the batch stays as it is, and a later call may succeed.
  bool Commit(Batch& batch, const Progress& progress);

  /// Removes what is too old or too much: once a minute, or while more is to be removed. A call
  /// does a bounded part.
  void PruneIfDue(std::int64_t now);
  bool HasMoreToPrune() const { return next_prune_ == 0; }

  /// Grows each time the database is begun again: its readers must then reopen it.
  int generation() const { return generation_; }

 private:
  struct Open;  // the connection and its statements

  void OpenDatabase();
  void BeginAnew(const std::string& why);
  void Write(const Batch& batch, const Progress& progress);
  void Prune(std::int64_t now);
  void PruneOld(std::int64_t now);
  bool IsTooLargeFor(std::int64_t more_bytes) const;
  void MakeRoomFor(std::int64_t more_bytes);
  void DeleteOldest();
  std::int64_t Pages() const;
  void DeleteQueriesUpTo(std::int64_t last);

  std::string path_;
  StoreLimits limits_;
  Tell tell_;
  std::unique_ptr<Open> open_;
  int generation_ = 0;
  bool is_failing_ = false;
  std::int64_t next_prune_ = 0;
};

}  // namespace page
