#include <signal.h>  // NOLINT(modernize-deprecated-headers): the signals are the system's
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include "common/output/clock.h"
#include "common/output/exit_status.h"
#include "common/output/output.h"
#include "common/output/shown_text.h"
#include "common/trace/source.h"
#include "common/trace/tally.h"
#include "companion/commands.h"
#include "companion/trace/views.h"

namespace ctl {
namespace {

constexpr std::size_t kShownNames = 10;
constexpr std::size_t kPiece = 1 << 18;      // bytes read at a time
constexpr std::size_t kBeginning = 1 << 12;  // bytes kept to tell what a foreign file is

volatile sig_atomic_t g_IsToEnd = 0;
volatile sig_atomic_t g_IsToStop = 0;

void NoteEnd(int /*signal*/) { g_IsToEnd = 1; }
void NoteStop(int /*signal*/) { g_IsToStop = 1; }

void Handle(int signal, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  sigaction(signal, &action, nullptr);
}

// A signal interrupts the wait for more, so that the terminal is put in order before the program
// ends or is suspended.
void NoteSignals() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) Handle(signal, NoteEnd);
  Handle(SIGTSTP, NoteStop);
}

void StopUntilContinued(FollowView& view) {
  g_IsToStop = 0;
  view.Suspend();
  Handle(SIGTSTP, SIG_DFL);
  static_cast<void>(raise(SIGTSTP));
  Handle(SIGTSTP, NoteStop);
}

int ComplainUnread(const Source& source) {
  Complain(Shown(source.name()) + " can't be read: " + std::strerror(errno) + '.');
  return kError;
}

// One run of the command: a source, what is read from it, and its totals.
class Reading {
 public:
  explicit Reading(const TraceOptions& options)
      : options_(options), source_(options.path), tally_(reader_), piece_(kPiece) {}

  int Run() {
    if (!source_.IsOpen()) return ComplainUnread(source_);
    if (source_.IsTerminal()) {
      Complain("Name a file, or send the trace to standard input.");
      return kUsage;
    }
    return options_.follow ? Follow() : ReadAll();
  }

 private:
  ssize_t ReadPiece() {
    const ssize_t got = source_.Read(piece_.data(), piece_.size());
    if (got <= 0) return got;
    const std::string_view bytes(piece_.data(), static_cast<std::size_t>(got));
    if (beginning_.size() < kBeginning) {
      beginning_.append(bytes.substr(0, kBeginning - beginning_.size()));
    }
    reader_.Feed(bytes, MonotonicNow());
    return got;
  }

  int ReadAll() {
    ProgressBar progress(source_.size());
    std::uint64_t read = 0;
    for (;;) {
      const ssize_t got = ReadPiece();
      if (got < 0) return ComplainUnread(source_);
      if (got == 0) break;
      read += static_cast<std::uint64_t>(got);
      progress.Update(read, reader_.lines());
    }
    reader_.EndFile();
    const bool holds_none = HoldsNoTrace();
    if (!holds_none || options_.json) PrintReport();
    return holds_none ? ComplainForeign() : kOk;
  }

  int Follow() {
    NoteSignals();
    const std::unique_ptr<FollowView> view = MakeView();
    reader_.AddConsumer(*view);
    const int status = FollowUntilEnd(*view);
    reader_.EndFile();
    view->End(tally_);
    return status == kOk && HoldsNoTrace() ? ComplainForeign() : status;
  }

  int FollowUntilEnd(FollowView& view) {
    while (g_IsToEnd == 0) {
      if (g_IsToStop != 0) StopUntilContinued(view);
      if (!source_.IsFile() && !source_.Wait()) {
        view.Refresh(tally_);
        continue;
      }
      const ssize_t got = ReadPiece();
      if (got < 0) return ComplainUnread(source_);
      view.Refresh(tally_);
      if (got > 0) continue;
      if (!source_.IsFile() && g_IsToEnd == 0 && g_IsToStop == 0) break;
      if (source_.Reopen()) {
        reader_.EndFile();
      } else if (source_.IsFile()) {
        source_.Wait();
      }
    }
    return kOk;
  }

  std::unique_ptr<FollowView> MakeView() const {
    if (options_.json) return std::make_unique<JsonView>(kShownNames);
    if (CanDrawInPlace()) return std::make_unique<LiveView>(source_.name(), kShownNames);
    return std::make_unique<NewsView>();
  }

  bool HoldsNoTrace() const {
    return reader_.not_understood() == reader_.lines() &&
           (reader_.lines() > 0 || reader_.has_unfinished_line());
  }

  int ComplainForeign() const {
    Complain(Shown(source_.name()) +
             " holds no trace of the proxy: " + Counted(reader_.lines(), "line") +
             ", none understood." + HintFor(beginning_, options_.path));
    return kNo;
  }

  void PrintReport() const {
    if (options_.json) {
      Print(JsonReport(tally_, kShownNames) + '\n');
      return;
    }
    for (const std::string& line : TextReport(tally_, kShownNames, kWidestReport)) {
      Print(line + '\n');
    }
  }

  const TraceOptions& options_;
  Source source_;
  TraceReader reader_;
  Tally tally_;
  std::vector<char> piece_;
  std::string beginning_;
};

}  // namespace

int RunTrace(const TraceOptions& options) { return Reading(options).Run(); }

}  // namespace ctl
