#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "page/memory/batch.h"
#include "page/memory/database.h"
#include "page/memory/store.h"

namespace page {

/// The writing connection with its statements, and the row numbers that it knows already.
struct Store::Open {
  explicit Open(const std::string& path);

  void AddQuery(const Query& query);
  /// The row of a query lost at no server, with this name and time.
  void RemoveLost(const Query& lost);
  void AddTotal(const Batch::Key& key, const Batch::Total& total);
  void SaveProgress(const Progress& progress);
  Progress LoadProgress();
  /// Forgets what was learned in a transaction that has been rolled back.
  void Forget();

  Database database;

 private:
  std::int64_t NameId(const std::string& name);
  std::int64_t ServerId(const std::string& address);
  std::int64_t FileId(const TracePlace& place);

  Statement add_name_;
  Statement add_server_;
  Statement find_server_;
  Statement add_file_;
  Statement find_file_;
  Statement add_query_;
  Statement find_total_;
  Statement put_total_;
  Statement put_meta_;
  Statement find_meta_;
  std::map<std::string, std::int64_t> server_ids_;
  std::pair<std::uint64_t, std::uint64_t> file_;
  std::int64_t file_id_ = 0;
};

}  // namespace page
