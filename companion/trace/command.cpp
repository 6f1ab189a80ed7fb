#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "common/output/exit_status.h"
#include "common/output/output.h"
#include "common/output/shown_text.h"
#include "common/trace/line_buffer.h"
#include "common/trace/source.h"
#include "common/trace/tally.h"
#include "companion/commands.h"
#include "companion/trace/follow_view.h"
#include "companion/trace/progress_bar.h"
#include "companion/trace/report.h"

namespace ctl {
namespace {

constexpr std::size_t kShownNames = 10;

volatile sig_atomic_t g_IsToEnd = 0;

void NoteSignal(int /*signal*/) { g_IsToEnd = 1; }

// A signal interrupts the wait for more, so that the terminal is put in order before the end.
void EndOnSignals() {
  struct sigaction action {};
  action.sa_handler = NoteSignal;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGHUP, &action, nullptr);
}

int ComplainUnread(const Source& source) {
  Complain(Shown(source.name()) + " can't be read: " + std::strerror(errno) + '.');
  return kError;
}

int ReadAll(Source& source, Tally& tally) {
  LineBuffer buffer;
  ProgressBar progress(source.size());
  std::uint64_t bytes = 0;
  for (;;) {
    char* space = buffer.Space();
    const ssize_t got = source.Read(space, buffer.SpaceSize());
    if (got < 0) return ComplainUnread(source);
    if (got == 0) break;
    buffer.Added(static_cast<std::size_t>(got));
    for (std::string_view line; buffer.Take(line);) tally.TakeLine(line);
    bytes += static_cast<std::uint64_t>(got);
    progress.Update(bytes, tally.lines());
  }
  if (!buffer.Unfinished().empty()) tally.TakeUnfinished();
  return kOk;
}

std::unique_ptr<FollowView> MakeView(const TraceOptions& options, const Source& source) {
  if (options.json) return std::make_unique<JsonView>(kShownNames);
  if (isatty(STDOUT_FILENO) == 1) return std::make_unique<LiveView>(source.name(), kShownNames);
  return std::make_unique<NewsView>();
}

// What stands unfinished at the end of a file that is not written any more has no other half.
void GoToNextFile(LineBuffer& buffer, Tally& tally) {
  if (!buffer.Unfinished().empty()) tally.TakeLine(buffer.Unfinished());
  buffer.Clear();
}

int FollowUntilEnd(Source& source, Tally& tally, FollowView& view) {
  LineBuffer buffer;
  while (g_IsToEnd == 0) {
    if (!source.IsFile() && !source.Wait()) {
      view.Refresh(tally);
      continue;
    }
    char* space = buffer.Space();
    const ssize_t got = source.Read(space, buffer.SpaceSize());
    if (got < 0) return ComplainUnread(source);
    buffer.Added(static_cast<std::size_t>(got));
    for (std::string_view line; buffer.Take(line);) {
      view.LineComes(line, tally);
      tally.TakeLine(line);
    }
    view.Refresh(tally);
    if (got > 0) continue;
    if (!source.IsFile()) break;
    if (source.Reopen()) {
      GoToNextFile(buffer, tally);
    } else {
      source.Wait();
    }
  }
  if (!buffer.Unfinished().empty()) tally.TakeUnfinished();
  return kOk;
}

int Follow(const TraceOptions& options, Source& source, Tally& tally) {
  EndOnSignals();
  const std::unique_ptr<FollowView> view = MakeView(options, source);
  const int status = FollowUntilEnd(source, tally, *view);
  view->End(tally);
  return status;
}

bool HoldsNoTrace(const Tally& tally) {
  return tally.not_understood() == tally.lines() &&
         (tally.lines() > 0 || tally.has_unfinished_line());
}

void PrintReport(const TraceOptions& options, const Tally& tally) {
  if (options.json) {
    Print(JsonReport(tally, kShownNames) + '\n');
    return;
  }
  for (const std::string& line : TextReport(tally, kShownNames)) Print(line + '\n');
}

}  // namespace

int RunTrace(const TraceOptions& options) {
  Source source(options.path);
  if (!source.IsOpen()) return ComplainUnread(source);
  if (source.IsTerminal()) {
    Complain("Name a file, or send the trace to standard input.");
    return kUsage;
  }
  Tally tally;
  if (options.follow) return Follow(options, source, tally);
  const int status = ReadAll(source, tally);
  if (status != kOk) return status;
  if (!HoldsNoTrace(tally)) {
    PrintReport(options, tally);
    return kOk;
  }
  if (options.json) PrintReport(options, tally);
  Complain(Shown(source.name()) + " holds no trace of the proxy: " +
           Counted(tally.lines(), "line") + ", none understood.");
  return kNo;
}

}  // namespace ctl
