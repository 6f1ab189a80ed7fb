#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "common/output/clock.h"
#include "common/output/output.h"
#include "common/output/shown_text.h"
#include "companion/trace/views.h"

namespace ctl {
namespace {

// ECMA-48 control sequences, and the two private ones that every terminal of today knows.
constexpr char kEnter[] = "\x1b[?1049h\x1b[?25l";  // a screen of its own, without a cursor
constexpr char kLeave[] = "\x1b[?25h\x1b[?1049l";
constexpr char kHome[] = "\x1b[H";
constexpr char kToLineEnd[] = "\x1b[K";
constexpr char kToScreenEnd[] = "\x1b[J";

constexpr std::uint64_t kLargeFile = 32 << 20;  // bytes; a smaller one is read in no time
constexpr std::size_t kBarWidth = 30;

constexpr unsigned short kUsualRows = 24;
constexpr unsigned short kUsualColumns = 80;

winsize TerminalSize() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0) {
    size.ws_row = kUsualRows;
    size.ws_col = kUsualColumns;
  }
  return size;
}

}  // namespace

bool CanDrawInPlace() {
  const char* terminal = std::getenv("TERM");
  return isatty(STDOUT_FILENO) == 1 && terminal != nullptr && terminal[0] != 0 &&
         std::string(terminal) != "dumb";
}

LiveView::LiveView(std::string source, std::size_t names)
    : source_(std::move(source)), names_(names) {}

LiveView::~LiveView() { Leave(); }

std::string LiveView::Screen(const Tally& tally) const {
  std::vector<std::string> lines = TextReport(tally, names_, columns_);
  lines.insert(lines.begin(), {Shown(source_) + "  (Ctrl-C ends)", ""});
  lines.resize(std::min<std::size_t>(lines.size(), rows_));
  std::string screen = kHome;
  for (std::size_t at = 0; at < lines.size(); ++at) {
    screen += (at == 0 ? "" : "\r\n") + lines[at].substr(0, columns_) + kToLineEnd;
  }
  return screen + kToScreenEnd;
}

void LiveView::Refresh(const Tally& tally) {
  if (MonotonicNow() < next_draw_) return;
  const winsize size = TerminalSize();
  const bool was_resized = size.ws_row != rows_ || size.ws_col != columns_;
  const bool has_changed = shown_lines_ != tally.reader().lines();
  if (is_on_screen_ && !has_changed && !was_resized) return;
  next_draw_ = MonotonicNow() + kBetweenDraws;
  shown_lines_ = tally.reader().lines();
  rows_ = size.ws_row;
  columns_ = size.ws_col;
  if (!is_on_screen_) Print(kEnter);
  is_on_screen_ = true;
  Print(Screen(tally));
  FlushOutput();
}

void LiveView::Suspend() {
  Leave();
  FlushOutput();
  next_draw_ = 0;
}

void LiveView::Leave() {
  if (is_on_screen_) Print(kLeave);
  is_on_screen_ = false;
}

void LiveView::End(const Tally& tally) {
  Leave();
  for (const std::string& line : TextReport(tally, names_, kWidestReport)) Print(line + '\n');
}

ProgressBar::ProgressBar(std::uint64_t total_bytes)
    : total_(total_bytes), is_wanted_(total_bytes >= kLargeFile && isatty(STDERR_FILENO) == 1) {}

ProgressBar::~ProgressBar() {
  if (is_drawn_) static_cast<void>(std::fputs("\r\x1b[K", stderr));
}

void ProgressBar::Update(std::uint64_t bytes, std::uint64_t lines) {
  if (!is_wanted_ || MonotonicNow() < next_draw_) return;
  next_draw_ = MonotonicNow() + kBetweenDraws;
  const std::uint64_t read = std::min(bytes, total_);
  const auto filled = static_cast<std::size_t>(read * kBarWidth / total_);
  const std::string bar = std::string(filled, '#') + std::string(kBarWidth - filled, '.');
  static_cast<void>(std::fprintf(stderr, "\r[%s] %3d%%  %s\x1b[K", bar.c_str(),
                                 static_cast<int>(read * 100 / total_),
                                 Counted(lines, "line").c_str()));
  is_drawn_ = true;
}

}  // namespace ctl
