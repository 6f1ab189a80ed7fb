#include "page/api/documents.h"

namespace page {
namespace {

constexpr const char* kDropKeys[ctl::kDropReasons] = {
    "query_too_short",    "question_count",     "name_empty",
    "id_still_waiting",   "not_sent_to_server", "not_sent_to_application",
    "response_too_short", "unknown_response",   "wrong_source",
    "lost_at_end"};

Json ServerDocument(const ServerNow& server) {
  return {{"address", server.address},
          {"asked", server.asked},
          {"answers", server.answers},
          {"empty", server.empty},
          {"last_response", server.last_response},
          {"waits_since", server.waits_since},
          {"median", OrNull(server.median)},
          {"p95", OrNull(server.ninety_fifth)}};
}

Json DropsDocument(const DayCounts::Counts& day) {
  Json drops = Json::array();
  for (std::size_t at = 0; at < ctl::kDropReasons; ++at) {
    const auto reason = static_cast<ctl::DropReason>(at);
    drops.push_back({{"reason", kDropKeys[at]},
                     {"words", ctl::InWords(reason)},
                     {"count", day[DayCounts::KindOf(reason)]}});
  }
  return drops;
}

Json DayDocument(const DayCounts::Counts& day) {
  Json outcomes = Json::object();
  for (std::size_t at = 0; at < kOutcomes; ++at)
    outcomes[KeyOf(static_cast<Outcome>(at))] = day[at];
  return outcomes;
}

Json ServerHistory(const std::vector<ServerSlot>& slots) {
  Json document = {{"asked", Json::array()},
                   {"responses", Json::array()},
                   {"empty", Json::array()},
                   {"median", Json::array()},
                   {"p95", Json::array()}};
  AnswerTimes all;
  for (const ServerSlot& slot : slots) {
    document["asked"].push_back(slot.asked);
    document["responses"].push_back(slot.responses);
    document["empty"].push_back(slot.empty);
    document["median"].push_back(OrNull(slot.times.Percentile(0.5)));
    document["p95"].push_back(OrNull(slot.times.Percentile(0.95)));
    all.Add(slot.times);
  }
  document["all_median"] = OrNull(all.Percentile(0.5));
  document["all_p95"] = OrNull(all.Percentile(0.95));
  return document;
}

}  // namespace

Json NowDocument(const Snapshot& now, const MemorySettings& settings) {
  Json document = {{"time", now.time}};
  document["proxy"] = {
      {"state", KeyOf(now.state)}, {"reason", now.state_reason}, {"started", now.started}};
  document["trace"] = {{"read", now.is_trace_read},
                       {"trouble", now.trace_trouble},
                       {"changed", now.trace_changed},
                       {"lines", now.lines},
                       {"not_understood", now.not_understood}};
  document["memory"] = {{"failing", now.is_database_failing},
                        {"query_hours", settings.query_hours},
                        {"bytes", settings.bytes}};
  document["day"] = DayDocument(now.day);
  document["per_second"] = now.per_second;
  document["drops"] = DropsDocument(now.day);
  document["servers"] = Json::array();
  for (const ServerNow& server : now.servers) document["servers"].push_back(ServerDocument(server));
  document["waiting_count"] = now.waiting_count;
  document["waiting"] = Json::array();
  for (const WaitingNow& waiting : now.waiting) {
    document["waiting"].push_back(
        {{"name", waiting.name}, {"server", waiting.server}, {"since", waiting.since}});
  }
  return document;
}

std::string WithReports(const Json& now, const CompanionReports::Reports& reports) {
  std::string text = AsText(now);
  text.pop_back();
  return text + ",\"status\":" + reports.status + ",\"check\":" + reports.check + '}';
}

Json QueryDocument(const Query& query) {
  Json attempts = Json::array();
  for (const Attempt& attempt : query.attempts) {
    attempts.push_back({{"server", attempt.server},
                        {"reaction", KeyOf(attempt.reaction)},
                        {"microseconds", OrNull(attempt.microseconds)}});
  }
  return {{"id", query.id},           {"asked", query.asked},
          {"name", query.name},       {"outcome", KeyOf(query.outcome)},
          {"server", query.Server()}, {"microseconds", OrNull(query.microseconds)},
          {"tried", attempts}};
}

Json HistoryDocument(const History& history) {
  Json document = {
      {"width", history.span.width}, {"first", history.span.first}, {"slots", history.span.slots}};
  for (std::size_t at = 0; at < kOutcomes; ++at) {
    document["outcomes"][KeyOf(static_cast<Outcome>(at))] = history.outcomes[at];
  }
  document["servers"] = Json::object();
  for (const auto& [address, slots] : history.servers) {
    document["servers"][address] = ServerHistory(slots);
  }
  return document;
}

}  // namespace page
