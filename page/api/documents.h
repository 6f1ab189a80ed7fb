#pragma once

#include <cstdint>
#include <string>

#include "page/api/memory_settings.h"
#include "page/json.h"
#include "page/live/companion_reports.h"
#include "page/live/snapshot.h"
#include "page/memory/history.h"
#include "page/memory/query.h"

namespace page {

// The page's data as JSON. All texts in it are printable ASCII. Times are milliseconds since 1970,
// durations microseconds.

Json NowDocument(const Snapshot& now, const MemorySettings& settings);
Json QueryDocument(const Query& query);
Json HistoryDocument(const History& history);

/// `text`, which is a JSON document already, as it is.
std::string WithReports(const Json& now, const CompanionReports::Reports& reports);

/// A number, or null.
template <typename Number>
Json OrNull(const std::optional<Number>& number) {
  return number ? Json(*number) : Json(nullptr);
}

}  // namespace page
