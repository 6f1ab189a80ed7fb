#include "page/memory/history.h"

#include "page/memory/query_row.h"
#include "page/memory/schema.h"

namespace page {
namespace {

constexpr std::int64_t kMinute = 60;
constexpr std::int64_t kHour = 3600;

struct NamedSpan {
  std::string_view name;
  std::int64_t width;
  std::size_t slots;
};
constexpr NamedSpan kSpans[] = {
    {"hour", kMinute, 60}, {"day", 10 * kMinute, 144}, {"week", kHour, 168}, {"year", kDay, 366}};

// The narrowest kept width that divides the span's.
std::int64_t KeptWidth(std::int64_t width) {
  std::int64_t kept = kSlotWidths.front().seconds;
  for (const SlotWidth& candidate : kSlotWidths) {
    if (width % candidate.seconds == 0) kept = candidate.seconds;
  }
  return kept;
}

void AddRow(const Statement& row, const ServerNames& names, std::size_t slot, History& history) {
  const std::int64_t series = row.Integer(1);
  const auto queries = static_cast<std::uint64_t>(row.Integer(3));
  if (series >= 0 && series < static_cast<std::int64_t>(kOutcomes)) {
    history.outcomes[static_cast<std::size_t>(series)][slot] += queries;
    return;
  }
  const auto name = names.find(row.Integer(2));
  if (name == names.end()) return;
  std::vector<ServerSlot>& slots = history.servers[name->second];
  slots.resize(history.span.slots);
  ServerSlot& server = slots[slot];
  if (series == kAskedSeries) server.asked += queries;
  if (series == kEmptySeries) server.empty += queries;
  if (series != kServerSeries) return;
  server.responses += queries;
  server.times.Add(AnswerTimes::Unpack(row.Text(4)));
}

}  // namespace

std::optional<Span> SpanOf(std::string_view name, std::int64_t now) {
  for (const NamedSpan& span : kSpans) {
    if (span.name != name) continue;
    const std::int64_t last = now - now % span.width;
    return Span{span.width, last - span.width * static_cast<std::int64_t>(span.slots - 1),
                span.slots};
  }
  return std::nullopt;
}

History ReadHistory(Database& database, const Span& span) {
  History history;
  history.span = span;
  for (std::vector<std::uint64_t>& outcome : history.outcomes) outcome.resize(span.slots);
  const ServerNames names = ReadServerNames(database);
  Statement rows(database,
                 "SELECT slot, series, server, queries, times FROM totals"
                 " WHERE width = ?1 AND slot >= ?2 AND slot < ?3 AND series < ?4");
  rows.Bind(1, KeptWidth(span.width)).Bind(2, span.first).Bind(4, kDropSeries);
  rows.Bind(3, span.first + span.width * static_cast<std::int64_t>(span.slots));
  while (rows.Step()) {
    AddRow(rows, names, static_cast<std::size_t>((rows.Integer(0) - span.first) / span.width),
           history);
  }
  return history;
}

std::map<std::int64_t, std::uint64_t> ReadDrops(Database& database, std::int64_t since) {
  Statement rows(database,
                 "SELECT series, sum(queries) FROM totals"
                 " WHERE width = 600 AND slot >= ?1 AND series >= ?2 GROUP BY series");
  rows.Bind(1, since).Bind(2, kDropSeries);
  std::map<std::int64_t, std::uint64_t> drops;
  while (rows.Step()) {
    drops[rows.Integer(0) - kDropSeries] = static_cast<std::uint64_t>(rows.Integer(1));
  }
  return drops;
}

std::array<std::uint64_t, kOutcomes> ReadAllOutcomes(Database& database) {
  Statement rows(database,
                 "SELECT series, sum(queries) FROM totals WHERE width = ?1 AND series < ?2"
                 " GROUP BY series");
  rows.Bind(1, kDay).Bind(2, static_cast<std::int64_t>(kOutcomes));
  std::array<std::uint64_t, kOutcomes> outcomes{};
  while (rows.Step()) {
    outcomes[static_cast<std::size_t>(rows.Integer(0))] =
        static_cast<std::uint64_t>(rows.Integer(1));
  }
  return outcomes;
}

}  // namespace page
