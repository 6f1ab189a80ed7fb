#include "page/memory/store.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "page/memory/schema.h"
#include "page/memory/store_statements.h"

namespace page {
namespace {

constexpr std::int64_t kHourMs = 3600000;
constexpr std::int64_t kBetweenPrunesMs = 60000;
constexpr std::int64_t kLogBytes = 8 << 20;  // what the write-ahead log may take
constexpr std::int64_t kLeastBytes = 4 << 20;
constexpr std::int64_t kBytesOfRow =
    3;  // in the database for each byte of a batch, indices included
constexpr std::int64_t kMostDeleted = 20000;  // queries at a time: a few tens of milliseconds
constexpr const char* kCompanions[] = {"-wal", "-shm"};

}  // namespace

Store::Store(std::string path, StoreLimits limits, Tell tell)
    : path_(std::move(path)), limits_(limits), tell_(std::move(tell)) {
  try {
    OpenDatabase();
  } catch (const DatabaseError& error) {
    if (!error.IsDamage()) throw;
    BeginAnew(error.what());
  }
}

Store::~Store() = default;

void Store::OpenDatabase() { open_ = std::make_unique<Open>(path_); }

// The latest damaged database is kept for examination, in place of an earlier one.
void Store::BeginAnew(const std::string& why) {
  open_.reset();
  const std::string aside = path_ + ".damaged";
  static_cast<void>(std::rename(path_.c_str(), aside.c_str()));
  for (const char* companion : kCompanions) unlink((path_ + companion).c_str());
  OpenDatabase();
  ++generation_;
  tell_(why + " It was put aside as " + aside + " and begun from the start.");
}

Progress Store::LoadProgress() { return open_->LoadProgress(); }

void Store::Check() {
  try {
    CheckPages(open_->database);
  } catch (const DatabaseError& error) {
    if (!error.IsDamage()) throw;
    BeginAnew(error.what());
  }
}

void Store::Write(const Batch& batch, const Progress& progress) {
  Transaction transaction(open_->database);
  for (const Query& lost : batch.taken_back()) open_->RemoveLost(lost);
  for (const Query& query : batch.queries()) open_->AddQuery(query);
  for (const auto& [key, total] : batch.totals()) open_->AddTotal(key, total);
  open_->SaveProgress(progress);
  transaction.Commit();
}

bool Store::Commit(Batch& batch, const Progress& progress) {
  try {
    MakeRoomFor(static_cast<std::int64_t>(batch.bytes()) * kBytesOfRow);
    Write(batch, progress);
    batch.Clear();
    if (is_failing_) tell_("The database is written again.");
    is_failing_ = false;
    return true;
  } catch (const DatabaseError& error) {
    open_->Forget();
    if (error.IsDamage()) {
      BeginAnew(error.what());
      return false;
    }
    if (!is_failing_) tell_(std::string(error.what()) + " It is tried again until it works.");
    is_failing_ = true;
    return false;
  }
}

void Store::PruneIfDue(std::int64_t now) {
  if (now < next_prune_) return;
  try {
    Prune(now);
  } catch (const DatabaseError& error) {
    if (error.IsDamage()) BeginAnew(error.what());
    // The disk is full: the next commit says so.
  }
}

void Store::Prune(std::int64_t now) {
  next_prune_ = now + kBetweenPrunesMs;
  PruneOld(now);
}

void Store::DeleteQueriesUpTo(std::int64_t last) {
  Transaction transaction(open_->database);
  Database& database = open_->database;
  Statement(database,
            "UPDATE names SET uses = uses - gone.queries FROM (SELECT name, count(*) AS queries"
            " FROM queries WHERE id <= ?1 GROUP BY name) AS gone WHERE names.id = gone.name")
      .Bind(1, last)
      .Run();
  Statement(database,
            "DELETE FROM names WHERE uses <= 0 AND id IN (SELECT name FROM queries WHERE id <= ?1)")
      .Bind(1, last)
      .Run();
  Statement(database, "DELETE FROM queries WHERE id <= ?1").Bind(1, last).Run();
  transaction.Commit();
}

void Store::PruneOld(std::int64_t now) {
  Database& database = open_->database;
  // Rows are in the order of the queries' ends. A query that was asked long before its end is
  // removed with its neighbours.
  Statement oldest(database, "SELECT id, asked FROM queries ORDER BY id LIMIT 1 OFFSET ?1");
  const std::int64_t limit = now - limits_.query_hours * kHourMs;
  for (const std::int64_t step :
       {kMostDeleted, kMostDeleted / 20, std::int64_t{50}, std::int64_t{1}}) {
    oldest.Bind(1, step - 1);
    const bool is_old = oldest.Step() && oldest.Integer(1) < limit;
    const std::int64_t last = is_old ? oldest.Integer(0) : 0;
    oldest.Reset();
    if (!is_old) continue;
    DeleteQueriesUpTo(last);
    next_prune_ = 0;  // there may be more
    break;
  }
  Statement totals(database, "DELETE FROM totals WHERE width = ?1 AND slot < ?2");
  for (const SlotWidth& width : kSlotWidths) {
    totals.Bind(1, width.seconds).Bind(2, now / 1000 - width.kept_seconds).Run();
  }
}

std::int64_t Store::Pages() const {
  return open_->database.Integer("PRAGMA page_count") -
         open_->database.Integer("PRAGMA freelist_count");
}

bool Store::IsTooLargeFor(std::int64_t more_bytes) const {
  const std::int64_t page = open_->database.Integer("PRAGMA page_size");
  const std::int64_t most = std::max(limits_.bytes - kLogBytes, kLeastBytes) / page;
  // A tenth is left free for what the database needs beside the rows.
  return (Pages() + more_bytes / page) * 10 >= most * 9;
}

void Store::MakeRoomFor(std::int64_t more_bytes) {
  constexpr int kMostRounds = 8;
  for (int round = 0; round < kMostRounds && IsTooLargeFor(more_bytes); ++round) DeleteOldest();
}

// Single queries first: they take the most room.
void Store::DeleteOldest() {
  Database& database = open_->database;
  Statement last(database, "SELECT max(id) FROM (SELECT id FROM queries ORDER BY id LIMIT ?1)");
  last.Bind(1, kMostDeleted).Step();
  const std::int64_t id = last.Integer(0);
  last.Reset();
  if (id > 0) return DeleteQueriesUpTo(id);
  database.Execute(
      "DELETE FROM totals WHERE (width, slot) IN"
      " (SELECT DISTINCT width, slot FROM totals WHERE width < 86400 ORDER BY slot LIMIT 1000)");
}

}  // namespace page
