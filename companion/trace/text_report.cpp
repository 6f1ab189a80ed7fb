#include <algorithm>
#include <cstdio>

#include "common/output/shown_text.h"
#include "common/trace/line_table.h"
#include "companion/trace/views.h"

namespace ctl {
namespace {

constexpr std::size_t kLongestShownName = 60;

std::string ShownName(const std::string& name) {
  std::string shown = Shown(name);
  if (shown.size() <= kLongestShownName) return shown;
  return shown.substr(0, kLongestShownName - 3) + "...";
}

std::string WorkerLine(const char* worker, const WorkerEnd& end) {
  if (!end.has_ended) return std::string(worker) + "no end seen";
  return std::string(worker) + "ended in line " + Grouped(end.line) + " by " + end.cause;
}

// The lines of one report, as wide as the room allows.
class TextLines {
 public:
  explicit TextLines(std::size_t columns)
      : columns_(static_cast<int>(std::clamp<std::size_t>(columns, kNarrowest, kWidestReport))) {}

  void Add(const std::string& line) { lines_.push_back(line); }
  void AddHeading(const std::string& heading) {
    Add("");
    Add(heading);
  }
  void AddCount(const std::string& label, std::uint64_t count) {
    constexpr int kUsualWidth = 60;  // label, count and the blanks
    const int count_width = columns_ < kUsualWidth ? 11 : 15;
    const int room = columns_ - count_width - 3;
    char row[160];
    static_cast<void>(std::snprintf(row, sizeof(row), "  %-*.*s %*s", std::min(room, 42),
                                    std::min(room, 60), label.c_str(), count_width,
                                    Grouped(count).c_str()));
    Add(row);
  }
  void AddServer(const std::string& address, const std::string& asked, const std::string& answers,
                 const std::string& empty, const std::string& waiting) {
    constexpr int kUsualWidth = 13;
    const int width = std::min(kUsualWidth, (columns_ - 15) / 4 - 1);
    std::string row;
    char cell[160];
    static_cast<void>(std::snprintf(cell, sizeof(cell), "%-15.40s", address.c_str()));
    row += cell;
    for (const std::string& count : {asked, answers, empty, waiting}) {
      static_cast<void>(std::snprintf(cell, sizeof(cell), " %*s", width, count.c_str()));
      row += cell;
    }
    Add(row);
  }
  std::vector<std::string> Take() { return std::move(lines_); }

 private:
  static constexpr std::size_t kNarrowest = 32;

  int columns_;
  std::vector<std::string> lines_;
};

void AddHead(const Tally& tally, TextLines& lines) {
  const TraceReader& reader = tally.reader();
  lines.Add(Counted(reader.lines(), "line") + ", " + Counted(tally.starts(), "start") +
            "; the proxy " + InWords(tally.run_state()));
  if (reader.not_understood() > 0) lines.Add(UnderstandingInWords(tally));
  if (reader.has_unfinished_line()) lines.Add("the last line is unfinished, and left out");
  lines.Add(WorkerLine("intake: ", tally.intake()));
  lines.Add(WorkerLine("relay:  ", tally.relay()));
}

void AddQueries(const Tally& tally, TextLines& lines) {
  lines.AddHeading("queries");
  lines.AddCount("accepted", tally.accepted());
  if (tally.from_before() > 0)
    lines.AddCount("accepted before the first line", tally.from_before());
  lines.AddCount("answered from the host map", tally.from_host_map());
  lines.AddCount("answered by a server", tally.answered());
  lines.AddCount("answered \"no such name\"", tally.no_such_name());
  lines.AddCount("still waiting for a server", tally.reader().waiting());
  if (tally.names_cut_short() > 0) lines.AddCount("names cut short", tally.names_cut_short());
}

void AddServers(const Tally& tally, TextLines& lines) {
  const std::vector<ServerCounts> servers = tally.Servers();
  if (servers.empty()) return;
  lines.Add("");
  lines.AddServer("server", "asked", "answers", "empty", "waiting");
  for (const ServerCounts& server : servers) {
    const bool asked_is_known = tally.starts() > 0;
    lines.AddServer(Shown(server.address), asked_is_known ? Grouped(server.asked) : "-",
                    Grouped(server.answers), Grouped(server.empty), Grouped(server.waiting));
  }
}

void AddDrops(const Tally& tally, TextLines& lines) {
  bool is_first = true;
  for (std::size_t at = 0; at < kDropReasons; ++at) {
    const auto reason = static_cast<DropReason>(at);
    if (tally.dropped(reason) == 0) continue;
    if (is_first) lines.AddHeading("dropped");
    is_first = false;
    lines.AddCount(InWords(reason), tally.dropped(reason));
  }
}

void AddNames(const Tally& tally, std::size_t names, TextLines& lines) {
  const std::vector<NameCounts::Count> busiest = tally.names().Busiest(names);
  if (busiest.empty()) return;
  lines.AddHeading(tally.names().HasForgotten() ? "busiest names (at least)" : "busiest names");
  for (const NameCounts::Count& count : busiest) {
    lines.AddCount(ShownName(count.name), count.queries);
  }
}

void AddWaiting(const Tally& tally, std::size_t names, TextLines& lines) {
  const TraceReader& reader = tally.reader();
  const std::vector<const Query*> waiting = reader.Waiting(names);
  if (waiting.empty()) return;
  lines.AddHeading(reader.waiting() > waiting.size() ? "some that wait" : "waiting");
  for (const Query* query : waiting) {
    const std::string server = ServerOf(*query, reader);
    lines.Add("  " + ShownName(query->name) + (server.empty() ? "" : " for " + Shown(server)));
  }
}

struct Compression {
  std::string_view beginning;
  const char* name;
  const char* command;
};
// The formats' own magic numbers.
constexpr Compression kCompressions[] = {
    {"\x1f\x8b", "gzip", "zcat"},
    {"\xfd"
     "7zXZ",
     "xz", "xzcat"},
    {"\x28\xb5\x2f\xfd", "zstd", "zstdcat"},
    {"BZh", "bzip2", "bzcat"},
};

// Whether the line is one of the proxy's, with something in front that another program has put
// there.
bool HasPrefix(std::string_view line) {
  for (std::size_t colon = line.find(": "); colon != std::string_view::npos;
       colon = line.find(": ", colon + 1)) {
    const LineRow* row = nullptr;
    if (Recognise(line.substr(colon + 2), nullptr, row) == Fit::kYes) return true;
  }
  return false;
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
    case RunState::kNotTakingQueries:
      return "takes no queries any more";
    case RunState::kNotStarted:
      return "could not start";
    case RunState::kEnded:
      return "has ended";
  }
  return "";
}

std::string UnderstandingInWords(const Tally& tally) {
  return "not understood: " + Counted(tally.reader().not_understood(), "line") +
         ", the first is line " + Grouped(tally.reader().first_not_understood());
}

std::string ServerOf(const Query& query, const TraceReader& reader) {
  if (query.tries.empty() || query.tries.back().server == TraceEvent::kNoServer) return "";
  return reader.servers()[query.tries.back().server];
}

std::vector<std::string> TextReport(const Tally& tally, std::size_t names, std::size_t columns) {
  TextLines lines(columns);
  AddHead(tally, lines);
  AddQueries(tally, lines);
  AddServers(tally, lines);
  AddDrops(tally, lines);
  AddNames(tally, names, lines);
  AddWaiting(tally, names, lines);
  return lines.Take();
}

std::string HintFor(std::string_view beginning, const std::string& path) {
  for (const Compression& compression : kCompressions) {
    if (beginning.substr(0, compression.beginning.size()) != compression.beginning) continue;
    return std::string(" It is compressed with ") + compression.name + ": " + compression.command +
           (path == "-" ? "" : " " + path) + " | dns_proxy_ctl trace";
  }
  while (!beginning.empty()) {
    const std::size_t end = std::min(beginning.find('\n'), beginning.size());
    if (HasPrefix(beginning.substr(0, end))) {
      return " Its lines are the proxy's, with something in front of each: read a journal with "
             "journalctl -o cat; from a file, cut it off with sed 's/^[^]]*]: //'.";
    }
    beginning.remove_prefix(std::min(end + 1, beginning.size()));
  }
  return "";
}

}  // namespace ctl
