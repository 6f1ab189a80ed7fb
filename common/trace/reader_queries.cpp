#include <algorithm>

#include "common/configuration/address_text.h"
#include "common/trace/reader_inside.h"

namespace ctl {
namespace {

// A position in a method list has eight bits, so later methods are never reached.
constexpr std::size_t kMostMethods = 256;
constexpr std::int64_t kReversePosition = 0x9F;

}  // namespace

void TraceReader::Inside::AddMethod(std::string_view server) {
  if (methods_.size() >= kMostMethods) return;
  methods_.push_back(ServerAt(ReadAddress(std::string(server)).Dotted()));
}

// A query that came before the first line has no record; its events have number 0.
Query& TraceReader::Inside::Stranger(std::int32_t id, std::string_view name) {
  stranger_ = Query();
  stranger_.id = static_cast<std::uint16_t>(std::max(id, 0));
  stranger_.name = name;
  return stranger_;
}

Query& TraceReader::Inside::QueryWithId(std::int32_t id) {
  Query* query = queries.Filed(static_cast<std::uint16_t>(id));
  return query != nullptr ? *query : Stranger(id, "");
}

Query& TraceReader::Inside::QueryNamed(std::int32_t id, std::string_view name) {
  Query* query = queries.Named(static_cast<std::uint16_t>(id), name);
  if (query == nullptr) return Stranger(id, name);
  if (query != queries.Successor(query->id)) return *query;
  return Succeed(query->id);
}

Query& TraceReader::Inside::QueryOf(const AtWork& at_work) {
  Query* query = at_work.number == 0 ? nullptr : queries.Find(at_work.id, at_work.number);
  if (query != nullptr) return *query;
  Query& stranger = Stranger(at_work.id, "");
  if (at_work.number != 0) stranger.outcome = Outcome::kLost;  // it has ended, too long ago
  return stranger;
}

void TraceReader::Inside::Pursue(Worker worker, const Query& query) {
  AtWork& at_work = at_work_[static_cast<std::size_t>(worker)];
  at_work.number = query.number;
  at_work.id = query.id;
}

// False for one that has ended before.
bool TraceReader::Inside::End(Query& query, Outcome outcome) {
  if (query.number == 0) {
    if (query.outcome != Outcome::kWaiting) return false;
    if (!names_.ids_without_name.empty()) names_.ids_without_name[query.id] = false;
  } else if (!queries.Holds(query)) {
    return false;
  }
  query.outcome = outcome;
  query.ended = now_;
  if (query.number != 0) queries.End(query);
  return true;
}

void TraceReader::Inside::LoseAll() {
  for (const Query* waiting : queries.Some(queries.size())) {
    Query& query = *queries.Find(waiting->id, waiting->number);
    query.loss = DropReason::kLostAtEnd;
    End(query, Outcome::kLost);
    TellOf(TraceEventKind::kLost, query);
  }
  queries.ForgetRest();
}

// The fallback goes on with the query that is filed, which may be an earlier one.
Query& TraceReader::Inside::Accept(const LineFields& fields) {
  const auto id = static_cast<std::uint16_t>(fields.id);
  if (!names_.ids_without_name.empty()) names_.ids_without_name[id] = false;
  Query& query = queries.File(id, fields.text, now_);
  const bool is_lost = query.outcome == Outcome::kLost;
  TellOf(TraceEventKind::kAccepted, query);
  if (is_lost) TellOf(TraceEventKind::kLost, query);
  Pursue(Worker::kQuery, *queries.Filed(id));
  return query;
}

// When the query thread is at work on this id already, the relay has shown the query first; it may
// have been misread, behind more forged responses than are looked through, but this name is right.
void TraceReader::Inside::FileQuery(const LineFields& fields) {
  const AtWork& at_work = at_work_[static_cast<std::size_t>(Worker::kQuery)];
  if (at_work.number == 0 || at_work.id != fields.id) {
    Accept(fields);
    return;
  }
  queries.Rename(QueryOf(at_work), fields.text);
}

Query& TraceReader::Inside::Succeed(std::uint16_t id) {
  Query& query = queries.LetSucceed(id);
  TellOf(TraceEventKind::kNotLost, query);
  return query;
}

// The fallback takes a query just filed from the beginning of the list. When its id was in use and
// the fallback is at a position before that of the earlier query, the new query has taken its
// place.
void TraceReader::Inside::LookAt(std::int64_t position, Worker worker) {
  AtWork& at_work = at_work_[static_cast<std::size_t>(worker)];
  at_work.position = position;
  Query* query = &QueryOf(at_work);
  const bool has_successor = worker == Worker::kQuery && query->number != 0 &&
                             query == queries.Filed(query->id) &&
                             queries.Successor(query->id) != nullptr;
  if (has_successor && position != query->position &&
      (position < query->position || position == kReversePosition)) {
    query = &Succeed(query->id);
    Pursue(worker, *query);
  }
  // The relay may have moved the query on before the query thread's look at it was shown.
  if (worker == Worker::kAnswer || position > query->position) query->position = position;
}

void TraceReader::Inside::Ask(AtWork& at_work) {
  const auto position = static_cast<std::size_t>(at_work.position);
  at_work.server =
      at_work.position >= 0 && position < methods_.size() ? methods_[position] : kNoServer;
  Query& query = QueryOf(at_work);
  const bool is_late = at_work.position < query.position;
  if (query.tries.size() < Query::kMostTries) {
    query.tries.insert(is_late ? query.tries.begin() : query.tries.end(),
                       {at_work.server, now_, 0});
  }
  TraceEvent event;
  event.kind = TraceEventKind::kAsked;
  event.server = at_work.server;
  event.query = &query;
  Tell(event);
}

void TraceReader::Inside::FailToSend(std::int64_t error, const AtWork& at_work) {
  Query& query = QueryOf(at_work);
  // Not always the last one: both workers may have sent it.
  for (std::size_t at = query.tries.size(); at-- > 0;) {
    if (query.tries[at].server != at_work.server) continue;
    query.tries.erase(query.tries.begin() + static_cast<std::ptrdiff_t>(at));
    break;
  }
  if (query.outcome == Outcome::kWaiting) query.loss = DropReason::kNotSentToServer;
  TraceEvent event;
  event.numbers[1] = End(query, Outcome::kLost) ? 1 : 0;
  event.kind = TraceEventKind::kForwardFailed;
  event.numbers[0] = error;
  event.server = at_work.server;
  event.query = &query;
  Tell(event);
}

void TraceReader::Inside::RelayOf(const LineFields& fields) {
  Query& query = fields.is_of_next ? Accept(fields) : QueryNamed(fields.id, fields.text);
  Pursue(Worker::kAnswer, query);
  TraceEvent event;
  event.address = fields.address;
  event.query = &query;
  const bool is_usual = !query.tries.empty() && query.tries.back().server != kNoServer &&
                        servers[query.tries.back().server] == fields.address;
  event.server = is_usual ? query.tries.back().server : ServerAt(fields.address);
  if (!query.tries.empty()) query.tries.back().responded = now_;
  event.kind = TraceEventKind::kWithoutAnswer;
  if (fields.line == Line::kResponseRelayed) {
    event.kind = TraceEventKind::kRelayed;
    if (!End(query, Outcome::kAnswered)) return;
  }
  Tell(event);
}

void TraceReader::Inside::TellOfFallback(const LineFields& fields, Worker worker) {
  AtWork& at_work = at_work_[static_cast<std::size_t>(worker)];
  switch (fields.line) {
    case Line::kNextMethodTried:
      if (at_work.number == 0) at_work.id = static_cast<std::uint16_t>(fields.id);
      return;
    case Line::kMethodPosition:
      return LookAt(fields.numbers[0], worker);
    case Line::kMethodType:
      if (fields.numbers[0] == 0) Ask(at_work);
      return;
    case Line::kForwardFailed:
      return FailToSend(fields.numbers[0], at_work);
    default:
      return TellOfAnswer(fields, at_work);
  }
}

// The proxy's own two answers.
void TraceReader::Inside::TellOfAnswer(const LineFields& fields, const AtWork& at_work) {
  TraceEvent event;
  switch (fields.line) {
    case Line::kFoundInHostMap:
      event.kind = TraceEventKind::kFoundInHostMap;
      std::copy_n(fields.numbers.begin(), event.numbers.size(), event.numbers.begin());
      return EndWith(event, QueryNamed(fields.id, fields.text), Outcome::kFromHostMap);
    case Line::kMethodsExhausted:
      event.kind = TraceEventKind::kExhausted;
      return EndWith(event, QueryOf(at_work), Outcome::kNoSuchName);
    case Line::kHostMapAnswerNotSent:
    case Line::kNoSuchNameNotSent:
      return TellOf(TraceEventKind::kAnswerNotSent, QueryOf(at_work));
    default:
      return;
  }
}

void TraceReader::Inside::EndWith(TraceEvent& event, Query& query, Outcome outcome) {
  if (!End(query, outcome)) return;
  event.query = &query;
  Tell(event);
}

}  // namespace ctl
