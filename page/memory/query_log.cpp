#include "page/memory/query_log.h"

#include <algorithm>
#include <limits>

namespace page {
namespace {

// Up to this many queries are found by the index on names and then sorted. With more of them,
// reading from the newest back soon finds some.
constexpr std::uint64_t kMostByIndex = 20000;
constexpr std::size_t kMostNamesInText = 5000;
constexpr std::int64_t kNoServer = -1;

constexpr const char* kRow =
    "SELECT q.id, q.asked, n.name, q.outcome, q.server, q.microseconds, q.place, f.device, f.inode,"
    " q.tried FROM queries AS q JOIN names AS n ON n.id = q.name JOIN files AS f ON f.id = q.file"
    " WHERE q.id = ?1";

Query ReadRow(const Statement& row, const ServerNames& servers) {
  Query query;
  query.id = row.Integer(0);
  query.asked = row.Integer(1);
  query.name = row.Text(2);
  query.outcome = static_cast<Outcome>(row.Integer(3));
  if (!row.IsNull(5)) query.microseconds = row.Integer(5);
  query.place.device = static_cast<std::uint64_t>(row.Integer(7));
  query.place.inode = static_cast<std::uint64_t>(row.Integer(8));
  query.place.offset = static_cast<std::uint64_t>(row.Integer(6));
  if (!row.IsNull(9)) {
    query.attempts = UnpackAttempts(row.Text(9), servers);
    return query;
  }
  const auto server = servers.find(row.Integer(4));
  if (server != servers.end()) {
    query.attempts.push_back({server->second, Reaction::kAnswered, query.microseconds});
  }
  return query;
}

}  // namespace

QueryLog::QueryLog(Database& database, const QueryFilter& filter)
    : database_(database), servers_(ReadServerNames(database)), outcome_(filter.outcome) {
  if (!filter.server.empty()) {
    server_ = kNoServer;
    for (const auto& [id, address] : servers_) {
      if (address == filter.server) server_ = id;
    }
  }
  wants_names_ = !filter.name_part.empty() || !filter.whole_name.empty();
  if (wants_names_) FindNames(filter);
}

void QueryLog::FindNames(const QueryFilter& filter) {
  const bool is_whole = !filter.whole_name.empty();
  Statement rows(database_, is_whole
                                ? "SELECT id, uses FROM names WHERE name = ?1"
                                : "SELECT id, uses FROM names WHERE instr(lower(name), ?1) > 0");
  const std::string wanted = is_whole ? filter.whole_name : LowerCase(filter.name_part);
  rows.Bind(1, std::string_view(wanted));
  while (rows.Step()) {
    names_.push_back(rows.Integer(0));
    uses_ += static_cast<std::uint64_t>(rows.Integer(1));
  }
}

// Numbers only: they are safe within the statement's text.
std::string QueryLog::Condition() const {
  std::string condition;
  if (outcome_) condition += " AND outcome = " + std::to_string(static_cast<int>(*outcome_));
  if (server_) condition += " AND server = " + std::to_string(*server_);
  return condition;
}

bool QueryLog::HasName(std::int64_t name) const {
  return !wants_names_ || std::binary_search(names_.begin(), names_.end(), name);
}

Query QueryLog::Load(std::int64_t id) {
  Statement row(database_, kRow);
  row.Bind(1, id);
  return row.Step() ? ReadRow(row, servers_) : Query();
}

std::vector<Query> QueryLog::Older(std::int64_t before, std::size_t most) {
  if (before <= 0) before = std::numeric_limits<std::int64_t>::max();
  if (wants_names_ && names_.empty()) return {};
  if (wants_names_ && uses_ <= kMostByIndex && names_.size() <= kMostNamesInText) {
    std::string list;
    for (const std::int64_t name : names_) list += (list.empty() ? "" : ",") + std::to_string(name);
    return ByIndex("INDEXED BY queries_by_name WHERE name IN (" + list + ")", before, most);
  }
  if (outcome_ && CountOutcome() <= kMostByIndex) {
    return ByIndex("INDEXED BY queries_by_outcome WHERE 1", before, most);
  }
  return ByScan(before, most);
}

// With another filter it may be fewer.
std::uint64_t QueryLog::CountOutcome() {
  Statement count(database_, "SELECT count(*) FROM queries WHERE 1" + Condition());
  return count.Step() ? static_cast<std::uint64_t>(count.Integer(0)) : 0;
}

// `source`: an index and what it finds.
std::vector<Query> QueryLog::ByIndex(const std::string& source, std::int64_t before,
                                     std::size_t most) {
  Statement ids(database_, "SELECT id, name FROM queries " + source + " AND id < ?1" + Condition() +
                               " ORDER BY id DESC");
  return Collect(ids, before, most);
}

std::vector<Query> QueryLog::ByScan(std::int64_t before, std::size_t most) {
  Statement ids(database_, "SELECT id, name FROM queries NOT INDEXED WHERE id < ?1" + Condition() +
                               " ORDER BY id DESC");
  return Collect(ids, before, most);
}

std::vector<Query> QueryLog::Collect(Statement& ids, std::int64_t before, std::size_t most) {
  ids.Bind(1, before);
  std::vector<Query> queries;
  while (queries.size() < most && ids.Step()) {
    if (HasName(ids.Integer(1))) queries.push_back(Load(ids.Integer(0)));
  }
  return queries;
}

std::optional<std::uint64_t> QueryLog::Count() {
  if (wants_names_ && (outcome_ || server_)) return std::nullopt;
  if (wants_names_) return uses_;
  return CountOutcome();
}

std::vector<NameUse> BusiestNames(Database& database, std::size_t most) {
  Statement rows(database, "SELECT name, uses FROM names ORDER BY uses DESC, name LIMIT ?1");
  rows.Bind(1, static_cast<std::int64_t>(most));
  std::vector<NameUse> names;
  while (rows.Step()) {
    names.push_back({std::string(rows.Text(0)), static_cast<std::uint64_t>(rows.Integer(1))});
  }
  return names;
}

}  // namespace page
