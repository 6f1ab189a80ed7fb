#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "page/memory/database.h"
#include "page/memory/query.h"
#include "page/memory/query_row.h"

namespace page {

/// Which of the remembered queries are wanted. Empty fields do not filter.
struct QueryFilter {
  std::string name_part;   ///< somewhere in the name as it is shown, in upper or lower case
  std::string whole_name;  ///< the name itself
  std::optional<Outcome> outcome;
  std::string server;  ///< that answered, or at which it was lost
};

struct NameUse {
  std::string name;
  std::uint64_t queries;
};

/// Looks through the single queries. One object serves one question: names and servers are read
/// again for each.
class QueryLog {
 public:
  QueryLog(Database& database, const QueryFilter& filter);

  /// The next older queries, newest first, `most` of them at most; `before` is the id that they are
  /// older than (0: from the newest on). Fewer than `most` only at the end.
  std::vector<Query> Older(std::int64_t before, std::size_t most);

  /// How many there are; nothing when counting would take as long as reading them all.
  std::optional<std::uint64_t> Count();

 private:
  void FindNames(const QueryFilter& filter);
  std::string Condition() const;
  std::uint64_t CountOutcome();
  std::vector<Query> ByIndex(const std::string& source, std::int64_t before, std::size_t most);
  std::vector<Query> ByScan(std::int64_t before, std::size_t most);
  std::vector<Query> Collect(Statement& ids, std::int64_t before, std::size_t most);
  Query Load(std::int64_t id);
  bool HasName(std::int64_t name) const;

  Database& database_;
  ServerNames servers_;
  std::optional<Outcome> outcome_;
  std::optional<std::int64_t> server_;
  bool wants_names_ = false;
  std::vector<std::int64_t> names_;  // of the wanted names, in rising order
  std::uint64_t uses_ = 0;           // queries for these names
};

/// The names that were asked for most, with the number of queries that are remembered.
std::vector<NameUse> BusiestNames(Database& database, std::size_t most);

}  // namespace page
