#include <algorithm>
#include <cstdio>
#include <ctime>
#include <string>

#include "common/output/exit_status.h"
#include "common/output/json_writer.h"
#include "common/output/output.h"
#include "common/output/shown_text.h"
#include "common/upstream/current_state.h"
#include "companion/commands.h"

namespace ctl {
namespace {

using upstream::ServerState;
using upstream::State;

constexpr double kMicrosecondsInMillisecond = 1000.0;

std::string Milliseconds(std::uint64_t microseconds) {
  char text[32];
  static_cast<void>(std::snprintf(text, sizeof(text), "%.2f ms",
                                  static_cast<double>(microseconds) / kMicrosecondsInMillisecond));
  return text;
}

// "2026-11-22 10:00:00", by the host's clock.
std::string LocalTime(std::int64_t seconds) {
  const auto time = static_cast<std::time_t>(seconds);
  std::tm parts{};
  localtime_r(&time, &parts);
  char text[32];
  static_cast<void>(std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &parts));
  return text;
}

void PrintServer(const ServerState& server) {
  char start[96];
  static_cast<void>(std::snprintf(start, sizeof(start), "%s  %-15s  ", server.listens.c_str(),
                                  server.address.empty() ? "-" : server.address.c_str()));
  const std::string health = HealthInWords(server);
  if (server.address.empty()) {
    Print(start + health + ": every query is answered \"server failure\" at once\n");
    return;
  }
  Print(start + health + " since " + LocalTime(server.since) + '\n');
  const std::string indent(12, ' ');
  if (server.answered > 0) {
    Print(indent + "answers in " + Milliseconds(server.median_microseconds) +
          " in the median, 95 of 100 within " + Milliseconds(server.slow_microseconds) + '\n');
  }
  Print(indent + Counted(server.queries, "query", "queries") + ", " + Grouped(server.unanswered) +
        " without an answer; " + Counted(server.retries, "retry", "retries") + ", " +
        Counted(server.truncations, "truncation") + '\n');
}

void WriteServer(const ServerState& server, JsonWriter& json) {
  json.Object();
  json.Key("listens").Text(server.listens);
  json.Key("address");
  if (server.address.empty()) {
    json.Null();
  } else {
    json.Text(Shown(server.address));
  }
  json.Key("health").Text(HealthInWords(server));
  json.Key("since").Number(static_cast<std::uint64_t>(server.since));
  json.Key("queries").Number(server.queries);
  json.Key("answered").Number(server.answered);
  json.Key("unanswered").Number(server.unanswered);
  json.Key("retries").Number(server.retries);
  json.Key("truncations").Number(server.truncations);
  json.Key("median_microseconds").Number(server.median_microseconds);
  json.Key("p95_microseconds").Number(server.slow_microseconds);
  json.EndObject();
}

void PrintJson(const State& state) {
  JsonWriter json;
  json.Object().Key("process").Number(static_cast<std::uint64_t>(state.process));
  json.Key("servers").Array();
  for (const ServerState& server : state.servers) WriteServer(server, json);
  json.EndArray().EndObject();
  Print(json.Take() + '\n');
}

bool IsWell(const State& state) {
  const auto alive = [](const ServerState& server) {
    return !server.address.empty() && !server.silent;
  };
  const auto silent = [](const ServerState& server) { return server.silent; };
  return std::any_of(state.servers.begin(), state.servers.end(), alive) &&
         std::none_of(state.servers.begin(), state.servers.end(), silent);
}

}  // namespace

int RunUpstream(const UpstreamOptions& options) {
  const std::optional<State> state = upstream::CurrentState();
  if (!state) {
    Complain("dns_proxy_upstream does not run.");
    return kNo;
  }
  if (options.json) {
    PrintJson(*state);
  } else {
    for (const ServerState& server : state->servers) PrintServer(server);
  }
  return IsWell(*state) ? kOk : kNo;
}

std::string UpstreamsInWords() {
  const std::optional<State> state = upstream::CurrentState();
  if (!state) return "";
  std::string words;
  for (const ServerState& server : state->servers) {
    if (server.address.empty()) continue;
    words += (words.empty() ? "" : ", ") + Shown(server.address) + ' ' + HealthInWords(server);
  }
  return words.empty() ? "no server is known" : words;
}

}  // namespace ctl
