#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "page/memory/answer_times.h"
#include "page/memory/database.h"
#include "page/memory/query.h"

namespace page {

/// A span of time in slots of one width, both in seconds. The last slot is the present one.
struct Span {
  std::int64_t width;
  std::int64_t first;  ///< start of the first slot
  std::size_t slots;
};

/// "hour" in minutes, "day" in ten minutes, "week" in hours, "year" in days, up to `now` (seconds
/// since 1970).
std::optional<Span> SpanOf(std::string_view name, std::int64_t now);

/// What a server did in one slot, or in all slots.
struct ServerSlot {
  std::uint64_t asked = 0;
  std::uint64_t responses = 0;
  std::uint64_t empty = 0;  ///< of the responses
  AnswerTimes times;
};

/// What the totals say about a span. All lists have a place for each slot.
struct History {
  Span span;
  std::array<std::vector<std::uint64_t>, kOutcomes> outcomes;
  std::map<std::string, std::vector<ServerSlot>> servers;
};

/// Reads the totals of a span.
History ReadHistory(Database& database, const Span& span);

/// All that was dropped since `since` (seconds), by the number of the reason.
std::map<std::int64_t, std::uint64_t> ReadDrops(Database& database, std::int64_t since);

/// How many queries ended each way, over all that is remembered.
std::array<std::uint64_t, kOutcomes> ReadAllOutcomes(Database& database);

}  // namespace page
