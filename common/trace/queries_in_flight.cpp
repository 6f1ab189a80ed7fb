#include "common/trace/queries_in_flight.h"

#include <algorithm>
#include <utility>

namespace ctl {

QueriesInFlight::QueriesInFlight() : slots_(kIds) {}
QueriesInFlight::~QueriesInFlight() = default;

// The oldest query that has ended is reused, with the storage of its texts.
std::unique_ptr<Query> QueriesInFlight::Make() {
  if (ended_.size() < kKeptEnded) return std::make_unique<Query>();
  std::unique_ptr<Query> query = TakeOldestEnded();
  query->tries.clear();
  query->ended = 0;
  query->position = -1;
  return query;
}

std::unique_ptr<Query> QueriesInFlight::TakeOldestEnded() {
  std::unique_ptr<Query> query = std::move(ended_.front());
  ended_.pop_front();
  if (MayBeNamed(*query)) CountLineFeed(*query, -1);
  return query;
}

void QueriesInFlight::Count(const Query& query, int change) {
  size_ += static_cast<std::size_t>(change);
  CountLineFeed(query, change);
}

void QueriesInFlight::CountLineFeed(const Query& query, int change) {
  const bool has_line_feed = query.name.find('\n') != std::string::npos;
  if (has_line_feed) with_line_feed_ += static_cast<std::size_t>(change);
}

Query& QueriesInFlight::File(std::uint16_t id, std::string_view name, std::int64_t now) {
  Slot& slot = slots_[id];
  std::unique_ptr<Query> query = Make();
  query->number = ++last_number_;
  query->id = id;
  query->name = name;
  query->begun = now;
  query->outcome = Outcome::kWaiting;
  Query& filed = *query;
  if (slot.filed != nullptr) {
    query->outcome = Outcome::kLost;
    query->loss = DropReason::kIdStillWaiting;
    query->ended = now;
    slot.successor = std::move(query);
    return filed;
  }
  Count(filed, 1);
  slot.successor.reset();
  slot.filed = std::move(query);
  return filed;
}

Query& QueriesInFlight::LetSucceed(std::uint16_t id) {
  Slot& slot = slots_[id];
  if (slot.leaving != nullptr) End(*slot.leaving);
  if (slot.filed != nullptr) slot.leaving = std::move(slot.filed);
  slot.filed = std::move(slot.successor);
  slot.filed->outcome = Outcome::kWaiting;
  slot.filed->ended = 0;
  slot.filed->position = -1;
  Count(*slot.filed, 1);
  return *slot.filed;
}

void QueriesInFlight::ForgetRest() {
  for (Slot& slot : slots_) slot.successor.reset();
  while (!ended_.empty()) TakeOldestEnded();
}

void QueriesInFlight::Rename(Query& query, std::string_view name) {
  const int counted = query.number != 0 && MayBeNamed(query) ? 1 : 0;
  CountLineFeed(query, -counted);
  query.name = name;
  CountLineFeed(query, counted);
}

Query* QueriesInFlight::Named(std::uint16_t id, std::string_view name) const {
  const Slot& slot = slots_[id];
  for (Query* query : {slot.leaving.get(), slot.filed.get(), slot.successor.get()}) {
    if (query != nullptr && query->name == name) return query;
  }
  for (auto query = ended_.rbegin(); query != ended_.rend(); ++query) {
    const bool is_it = (*query)->id == id && (*query)->name == name;
    if (is_it && MayBeNamed(**query)) return query->get();
  }
  return nullptr;
}

Query* QueriesInFlight::Find(std::uint16_t id, std::uint64_t number) const {
  const Slot& slot = slots_[id];
  for (Query* query : {slot.filed.get(), slot.leaving.get(), slot.successor.get()}) {
    if (query != nullptr && query->number == number) return query;
  }
  for (const auto& query : ended_) {
    if (query->number == number) return query.get();
  }
  return nullptr;
}

bool QueriesInFlight::MayBecomeLongName(std::string_view text) const {
  const auto may_become = [text](const Query* query) {
    if (query == nullptr || query->name.find('\n') == std::string::npos) return false;
    const std::string_view name = query->name;
    const std::size_t common = std::min(name.size(), text.size());
    return name.substr(0, common) == text.substr(0, common);
  };
  return std::any_of(slots_.begin(), slots_.end(),
                     [may_become](const Slot& slot) {
                       return may_become(slot.filed.get()) || may_become(slot.leaving.get());
                     }) ||
         std::any_of(ended_.begin(), ended_.end(), [may_become](const auto& query) {
           return MayBeNamed(*query) && may_become(query.get());
         });
}

bool QueriesInFlight::Holds(const Query& query) const {
  const Slot& slot = slots_[query.id];
  return slot.filed.get() == &query || slot.leaving.get() == &query;
}

void QueriesInFlight::End(Query& query) {
  Slot& slot = slots_[query.id];
  std::unique_ptr<Query>& place = slot.leaving.get() == &query ? slot.leaving : slot.filed;
  Count(query, -1);
  if (MayBeNamed(query)) CountLineFeed(query, 1);
  ended_.push_back(std::move(place));
  if (ended_.size() > kKeptEnded) TakeOldestEnded();
}

std::vector<const Query*> QueriesInFlight::Some(std::size_t most) const {
  std::vector<const Query*> some;
  for (const Slot& slot : slots_) {
    for (const Query* query : {slot.leaving.get(), slot.filed.get()}) {
      if (query != nullptr && some.size() < most) some.push_back(query);
    }
    if (some.size() == most) break;
  }
  return some;
}

void QueriesInFlight::Restore(std::unique_ptr<Query> query, Place place) {
  Slot& slot = slots_[query->id];
  if (place == Place::kFiled || place == Place::kLeaving) Count(*query, 1);
  switch (place) {
    case Place::kFiled:
      slot.filed = std::move(query);
      return;
    case Place::kLeaving:
      slot.leaving = std::move(query);
      return;
    case Place::kSuccessor:
      slot.successor = std::move(query);
      return;
    case Place::kEnded:
      if (MayBeNamed(*query)) CountLineFeed(*query, 1);
      ended_.push_back(std::move(query));
  }
}

std::uint64_t QueriesInFlight::CountKept() const {
  std::uint64_t count = 0;
  ForEachKept([&count](const Query&, Place) { ++count; });
  return count;
}

}  // namespace ctl
