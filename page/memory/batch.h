#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <tuple>

#include "page/memory/answer_times.h"
#include "page/memory/query.h"

namespace page {

/// What has been seen and not yet been written to the database. Bounded: while nothing can be
/// written, the oldest single queries are dropped and the totals stay.
class Batch {
 public:
  static constexpr std::size_t kMostQueries = 20000;
  static constexpr std::size_t kMostBytes = 2 << 20;

  struct Total {
    std::int64_t queries = 0;  ///< below zero when some counted before are taken back
    AnswerTimes times;
  };
  /// Minute (seconds since 1970, a multiple of 60), series, server.
  using Key = std::tuple<std::int64_t, std::int64_t, std::string>;

  /// `keeps_queries`: false when single queries are not to be remembered.
  explicit Batch(bool keeps_queries) : keeps_queries_(keeps_queries) {}

  void AddQuery(const Query& query);
  /// A datagram or answer that was dropped, by the number of its reason.
  void AddDrop(std::int64_t milliseconds, std::int64_t reason, std::int64_t count = 1);

  /// A query that was added as lost at no server, and is not: its name and times tell which.
  void TakeBack(const Query& lost);

  const std::map<Key, Total>& totals() const { return totals_; }
  const std::deque<Query>& queries() const { return queries_; }
  /// Those taken back that were in an earlier batch.
  const std::deque<Query>& taken_back() const { return taken_back_; }
  /// How many bytes the single queries take, about.
  std::size_t bytes() const { return bytes_; }
  void Clear();

 private:
  Total& At(std::int64_t milliseconds, std::int64_t series, const std::string& server);

  bool keeps_queries_;
  std::map<Key, Total> totals_;
  std::deque<Query> queries_;
  std::deque<Query> taken_back_;
  std::size_t bytes_ = 0;
};

}  // namespace page
