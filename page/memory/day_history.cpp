#include "page/memory/day_history.h"

#include "page/memory/database.h"
#include "page/memory/schema.h"

namespace page {

DayCounts LoadDay(const std::string& path) {
  Database database(path, Database::Access::kRead);
  Statement rows(database,
                 "SELECT slot, series, sum(queries) FROM totals WHERE width = 600"
                 " AND slot >= (SELECT max(slot) FROM totals WHERE width = 600) - 86400"
                 " GROUP BY slot, series ORDER BY slot");
  DayCounts day;
  while (rows.Step()) {
    const std::int64_t series = rows.Integer(1);
    const auto count = static_cast<std::uint64_t>(rows.Integer(2));
    const std::int64_t kind = series >= kDropSeries
                                  ? series - kDropSeries + static_cast<std::int64_t>(kOutcomes)
                                  : series;
    const bool is_known = series < static_cast<std::int64_t>(kOutcomes) || series >= kDropSeries;
    if (!is_known || kind >= static_cast<std::int64_t>(DayCounts::kKinds)) continue;
    day.Add(rows.Integer(0) * 1000, static_cast<std::size_t>(kind), count);
  }
  return day;
}

}  // namespace page
