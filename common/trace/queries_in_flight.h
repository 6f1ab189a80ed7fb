#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string_view>
#include <vector>

#include "common/trace/trace_event.h"

namespace ctl {

/// The accepted queries that have not ended, by the proxy's id, and the last few that have: one of
/// the two workers may print a line about a query after the other has printed its end.
///
/// An id may be given again while its query still waits. The proxy then loses the new query, unless
/// the old one has just left and its last line is still to come. Later lines show which of the two
/// happened, so both are kept: the new one as `successor`.
class QueriesInFlight {
 public:
  QueriesInFlight();
  QueriesInFlight(const QueriesInFlight&) = delete;
  QueriesInFlight& operator=(const QueriesInFlight&) = delete;
  ~QueriesInFlight();

  /// Files a new query. It is filed as successor, and counts as lost, when the id is taken.
  Query& File(std::uint16_t id, std::string_view name, std::int64_t now);
  /// The one that waits; null when none does.
  Query* Filed(std::uint16_t id) const { return slots_[id].filed.get(); }
  Query* Successor(std::uint16_t id) const { return slots_[id].successor.get(); }
  /// The successor takes the place of the one filed, of which only the last line is still to come.
  Query& LetSucceed(std::uint16_t id);
  /// The successor was lost after all.
  void ForgetSuccessor(std::uint16_t id) { slots_[id].successor.reset(); }

  /// The successors, and the queries that have ended: a run is over.
  void ForgetRest();
  void Rename(Query& query, std::string_view name);

  /// The query with this id and name that a line of the relay is about. Looked for in this order:
  /// one that leaves, the one filed, its successor, one that has ended lately. Null for none.
  Query* Named(std::uint16_t id, std::string_view name) const;
  /// Calls `take(name)` for the name of each of these until it returns true; whether it did.
  template <typename Take>
  bool AnyName(std::uint16_t id, Take take) const {
    const Slot& slot = slots_[id];
    for (const Query* query : {slot.leaving.get(), slot.filed.get(), slot.successor.get()}) {
      if (query != nullptr && take(std::string_view(query->name))) return true;
    }
    for (const auto& query : ended_) {
      if (query->id == id && MayBeNamed(*query) && take(std::string_view(query->name))) return true;
    }
    return false;
  }

  /// The query of this number, waiting or ended lately; null when it is neither.
  Query* Find(std::uint16_t id, std::uint64_t number) const;
  /// Whether `query` is still in here, not ended.
  bool Holds(const Query& query) const;
  /// The query has ended: it is not waiting any more. Valid until some more have ended.
  void End(Query& query);

  std::size_t size() const { return size_; }
  /// How many of all that a line may still name have a line feed in their names. While none has,
  /// every line feed ends a line.
  std::size_t with_line_feed() const { return with_line_feed_; }
  std::vector<const Query*> Some(std::size_t most) const;
  /// Whether `text`, as far as it goes, may be the beginning of such a name and more.
  bool MayBecomeLongName(std::string_view text) const;

  /// For saving: every query in here, and how it is put back.
  enum class Place : std::uint8_t { kFiled, kLeaving, kSuccessor, kEnded };
  template <typename Take>
  void ForEachKept(Take take) const {
    for (const Slot& slot : slots_) {
      if (slot.filed != nullptr) take(*slot.filed, Place::kFiled);
      if (slot.leaving != nullptr) take(*slot.leaving, Place::kLeaving);
      if (slot.successor != nullptr) take(*slot.successor, Place::kSuccessor);
    }
    for (const auto& query : ended_) take(*query, Place::kEnded);
  }
  std::uint64_t CountKept() const;
  void Restore(std::unique_ptr<Query> query, Place place);
  std::uint64_t last_number() const { return last_number_; }
  void set_last_number(std::uint64_t number) { last_number_ = number; }

 private:
  struct Slot {
    std::unique_ptr<Query> filed;
    std::unique_ptr<Query> successor;
    std::unique_ptr<Query> leaving;
  };
  static constexpr std::size_t kIds = 65536;
  static constexpr std::size_t kKeptEnded = 16;

  // The line that tells of a relayed answer is the last one with a query's name.
  static bool MayBeNamed(const Query& ended) { return ended.outcome != Outcome::kAnswered; }

  std::unique_ptr<Query> Make();
  void Count(const Query& query, int change);
  void CountLineFeed(const Query& query, int change);
  std::unique_ptr<Query> TakeOldestEnded();

  std::vector<Slot> slots_;
  std::deque<std::unique_ptr<Query>> ended_;
  std::uint64_t last_number_ = 0;
  std::size_t size_ = 0;
  std::size_t with_line_feed_ = 0;
};

}  // namespace ctl
