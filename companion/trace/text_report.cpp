#include <cstdio>

#include "common/output/shown_text.h"
#include "companion/trace/report.h"

namespace ctl {
namespace {

using Lines = std::vector<std::string>;

constexpr std::size_t kLongestShownName = 60;

std::string Row(const std::string& label, std::uint64_t count) {
  char row[128];
  std::snprintf(row, sizeof(row), "  %-42.60s %15s", label.c_str(), Grouped(count).c_str());
  return row;
}

std::string ShownName(const std::string& name) {
  const std::string shown = Shown(name);
  if (shown.size() <= kLongestShownName) return shown;
  return shown.substr(0, kLongestShownName - 3) + "...";
}

std::string WorkerLine(const char* worker, const WorkerEnd& end) {
  if (!end.has_ended) return std::string(worker) + "no end seen";
  return std::string(worker) + "ended in line " + Grouped(end.line) + " by " + end.cause;
}

void AppendHead(const Tally& tally, Lines& lines) {
  lines.push_back(Counted(tally.lines(), "line") + ", " + Counted(tally.starts(), "start") +
                  "; the proxy " + InWords(tally.run_state()));
  if (tally.not_understood() > 0) {
    lines.push_back(UnderstandingInWords(tally));
  }
  if (tally.has_unfinished_line()) lines.push_back("the last line is unfinished, and left out");
  lines.push_back(WorkerLine("intake: ", tally.intake()));
  lines.push_back(WorkerLine("relay:  ", tally.relay()));
}

void AppendQueries(const Tally& tally, Lines& lines) {
  lines.push_back("");
  lines.push_back("queries");
  lines.push_back(Row("taken on", tally.queries()));
  lines.push_back(Row("answered from the host map", tally.from_host_map()));
  lines.push_back(Row("answered by a server", tally.answered()));
  lines.push_back(Row("answered \"no such name\"", tally.no_such_name()));
  lines.push_back(Row("still waiting for a server", tally.waiting()));
  if (tally.names_cut_short() > 0) lines.push_back(Row("names cut short", tally.names_cut_short()));
}

void AppendServers(const Tally& tally, Lines& lines) {
  const std::vector<ServerCounts> servers = tally.Servers();
  if (servers.empty()) return;
  lines.push_back("");
  char row[160];
  std::snprintf(row, sizeof(row), "%-15s %13s %13s %13s %13s", "server", "asked", "answers",
                "empty", "waiting");
  lines.push_back(row);
  for (const ServerCounts& server : servers) {
    const bool asked_is_known = tally.run_state() != RunState::kNoStartSeen;
    std::snprintf(row, sizeof(row), "%-15.40s %13s %13s %13s %13s", Shown(server.address).c_str(),
                  asked_is_known ? Grouped(server.asked).c_str() : "-",
                  Grouped(server.answers).c_str(), Grouped(server.empty).c_str(),
                  Grouped(server.waiting).c_str());
    lines.push_back(row);
  }
}

void AppendDrops(const Tally& tally, Lines& lines) {
  bool is_first = true;
  for (std::size_t at = 0; at < kDropReasons; ++at) {
    const auto reason = static_cast<DropReason>(at);
    if (tally.dropped(reason) == 0) continue;
    if (is_first) {
      lines.push_back("");
      lines.push_back("dropped");
      is_first = false;
    }
    lines.push_back(Row(InWords(reason), tally.dropped(reason)));
  }
}

void AppendNames(const Tally& tally, std::size_t names, Lines& lines) {
  const std::vector<NameCounts::Count> busiest = tally.names().Busiest(names);
  if (!busiest.empty()) {
    lines.push_back("");
    lines.push_back(tally.names().HasForgotten() ? "busiest names (at least)" : "busiest names");
  }
  for (const NameCounts::Count& count : busiest) {
    lines.push_back(Row(ShownName(count.name), count.queries));
  }
}

void AppendWaiting(const Tally& tally, std::size_t names, Lines& lines) {
  const std::vector<WaitingQuery> waiting = tally.Waiting(names);
  if (!waiting.empty()) {
    lines.push_back("");
    lines.push_back(tally.waiting() > waiting.size() ? "some that wait" : "waiting");
  }
  for (const WaitingQuery& query : waiting) {
    lines.push_back("  " + ShownName(query.name) +
                    (query.server.empty() ? "" : " for " + Shown(query.server)));
  }
}

}  // namespace

const char* InWords(RunState state) {
  switch (state) {
    case RunState::kNoStartSeen:
      return "was started before the first line";
    case RunState::kStarting:
      return "is starting";
    case RunState::kServing:
      return "serves";
    case RunState::kNotStarted:
      return "could not start";
    case RunState::kEnded:
      return "has ended";
  }
  return "";
}

std::string UnderstandingInWords(const Tally& tally) {
  return "not understood: " + Counted(tally.not_understood(), "line") + ", the first is line " +
         Grouped(tally.first_not_understood());
}

std::vector<std::string> TextReport(const Tally& tally, std::size_t names) {
  Lines lines;
  AppendHead(tally, lines);
  AppendQueries(tally, lines);
  AppendServers(tally, lines);
  AppendDrops(tally, lines);
  AppendNames(tally, names, lines);
  AppendWaiting(tally, names, lines);
  return lines;
}

}  // namespace ctl
