#include "common/output/json_writer.h"
#include "common/output/shown_text.h"
#include "companion/trace/views.h"

namespace ctl {
namespace {

const char* Key(DropReason reason) {
  switch (reason) {
    case DropReason::kQueryTooShort:
      return "query_too_short";
    case DropReason::kQuestionCount:
      return "question_count";
    case DropReason::kNameEmpty:
      return "name_empty";
    case DropReason::kIdStillWaiting:
      return "id_still_waiting";
    case DropReason::kNotSentToServer:
      return "not_sent_to_server";
    case DropReason::kNotSentToApplication:
      return "not_sent_to_application";
    case DropReason::kResponseTooShort:
      return "response_too_short";
    case DropReason::kUnknownResponse:
      return "unknown_response";
    case DropReason::kWrongSource:
      return "wrong_source";
    case DropReason::kLostAtEnd:
      return "lost_at_end";
  }
  return "";
}

const char* Key(RunState state) {
  switch (state) {
    case RunState::kNoStartSeen:
      return "no_start_seen";
    case RunState::kStarting:
      return "starting";
    case RunState::kServing:
      return "serving";
    case RunState::kNotTakingQueries:
      return "not_taking_queries";
    case RunState::kNotStarted:
      return "not_started";
    case RunState::kEnded:
      return "ended";
  }
  return "";
}

void WriteQueries(const Tally& tally, JsonWriter& json) {
  json.Key("queries").Object();
  json.Key("accepted").Number(tally.accepted());
  json.Key("accepted_before").Number(tally.from_before());
  json.Key("from_host_map").Number(tally.from_host_map());
  json.Key("answered").Number(tally.answered());
  json.Key("no_such_name").Number(tally.no_such_name());
  json.Key("waiting").Number(tally.reader().waiting());
  json.Key("names_cut_short").Number(tally.names_cut_short());
  json.EndObject();
}

void WriteServers(const Tally& tally, JsonWriter& json) {
  json.Key("servers").Array();
  for (const ServerCounts& server : tally.Servers()) {
    json.Object().Key("address").Text(Shown(server.address));
    json.Key("asked").Number(server.asked).Key("answers").Number(server.answers);
    json.Key("empty").Number(server.empty).Key("waiting").Number(server.waiting).EndObject();
  }
  json.EndArray();
}

void WriteDrops(const Tally& tally, JsonWriter& json) {
  json.Key("dropped").Object();
  for (std::size_t at = 0; at < kDropReasons; ++at) {
    const auto reason = static_cast<DropReason>(at);
    json.Key(Key(reason)).Number(tally.dropped(reason));
  }
  json.EndObject();
}

void WriteWorker(const char* key, const WorkerEnd& end, JsonWriter& json) {
  json.Key(key).Object().Key("ended").Truth(end.has_ended);
  if (end.has_ended) json.Key("line").Number(end.line).Key("cause").Text(end.cause);
  json.EndObject();
}

void WriteNames(const Tally& tally, std::size_t names, JsonWriter& json) {
  json.Key("busiest").Array();
  for (const NameCounts::Count& count : tally.names().Busiest(names)) {
    json.Object().Key("name").Text(Shown(count.name));
    json.Key("queries").Number(count.queries).EndObject();
  }
  json.EndArray().Key("busiest_are_exact").Truth(!tally.names().HasForgotten());
  json.Key("waiting").Array();
  for (const Query* query : tally.reader().Waiting(names)) {
    json.Object().Key("name").Text(Shown(query->name));
    json.Key("server").Text(Shown(ServerOf(*query, tally.reader()))).EndObject();
  }
  json.EndArray();
}

}  // namespace

std::string JsonReport(const Tally& tally, std::size_t names) {
  JsonWriter json;
  const TraceReader& reader = tally.reader();
  json.Object().Key("lines").Number(reader.lines());
  json.Key("not_understood").Number(reader.not_understood());
  json.Key("first_not_understood").Number(reader.first_not_understood());
  json.Key("unfinished_line").Truth(reader.has_unfinished_line());
  json.Key("starts").Number(tally.starts()).Key("state").Text(Key(tally.run_state()));
  WriteWorker("intake", tally.intake(), json);
  WriteWorker("relay", tally.relay(), json);
  WriteQueries(tally, json);
  WriteServers(tally, json);
  WriteDrops(tally, json);
  WriteNames(tally, names, json);
  json.EndObject();
  return json.Take();
}

}  // namespace ctl
