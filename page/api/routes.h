#pragma once

#include <functional>
#include <memory>
#include <string>

#include "page/api/memory_settings.h"
#include "page/http/request.h"
#include "page/http/response.h"
#include "page/live/companion_reports.h"
#include "page/live/live_state.h"
#include "page/memory/database.h"
#include "page/memory/query_log.h"

namespace page {

/// Answers each address of the page. For the serving thread.
class Routes {
 public:
  struct Settings {
    std::string database;
    std::string trace;
    MemorySettings memory;
  };
  /// `wake` wakes the thread that reads the trace. Both references outlive this.
  Routes(Settings settings, LiveState& live, CompanionReports& reports, std::function<void()> wake);

  Response Answer(const Request& request);
  /// What has happened since the last call, for the event streams; empty for nothing.
  std::string Events();

 private:
  Response Now();
  Response BeginEvents();
  Response Totals(const Request& request);
  Response Queries(const Request& request);
  Response Names(const Request& request);
  Response Name(const Request& request);
  Response MetricsPage();
  Response Export(const Request& request, bool is_csv);
  std::string NowText();
  Database& OpenDatabase();
  void BringUpToDate();

  Settings settings_;
  LiveState& live_;
  CompanionReports& reports_;
  std::function<void()> wake_;
  std::unique_ptr<Database> database_;
  int generation_ = 0;
  std::int64_t last_id_ = 0;   // of the queries that the event streams have been told of
  std::uint64_t version_ = 0;  // of the state that they have
  std::uint64_t reports_version_ = 0;
  std::int64_t next_beat_ = 0;
};

}  // namespace page
