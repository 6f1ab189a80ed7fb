#include "companion/trace/progress_bar.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "common/output/clock.h"
#include "common/output/shown_text.h"

namespace ctl {
namespace {

constexpr std::uint64_t kLargeFile = 32 << 20;  // bytes; a smaller one is read in no time
constexpr std::size_t kWidth = 30;

}  // namespace

ProgressBar::ProgressBar(std::uint64_t total_bytes)
    : total_(total_bytes), is_wanted_(total_bytes >= kLargeFile && isatty(STDERR_FILENO) == 1) {}

ProgressBar::~ProgressBar() {
  if (is_drawn_) std::fputs("\r\x1b[K", stderr);
}

void ProgressBar::Update(std::uint64_t bytes, std::uint64_t lines) {
  if (!is_wanted_ || MonotonicNow() < next_draw_) return;
  next_draw_ = MonotonicNow() + kBetweenDraws;
  const std::uint64_t read = std::min(bytes, total_);
  const auto filled = static_cast<std::size_t>(read * kWidth / total_);
  const std::string bar = std::string(filled, '#') + std::string(kWidth - filled, '.');
  std::fprintf(stderr, "\r[%s] %3d%%  %s\x1b[K", bar.c_str(), static_cast<int>(read * 100 / total_),
               Counted(lines, "line").c_str());
  is_drawn_ = true;
}

}  // namespace ctl
