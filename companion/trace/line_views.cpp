#include "common/output/clock.h"
#include "common/output/output.h"
#include "companion/trace/follow_view.h"
#include "companion/trace/news.h"
#include "companion/trace/report.h"

namespace ctl {

void NewsView::LineComes(std::string_view line, const Tally& tally) {
  const std::string news = News(line, tally);
  if (!news.empty()) Print(news + '\n');
}

void NewsView::Refresh(const Tally& /*tally*/) { FlushOutput(); }

void NewsView::End(const Tally& tally) {
  if (tally.not_understood() > 0) Print(UnderstandingInWords(tally) + '\n');
}

void JsonView::LineComes(std::string_view /*line*/, const Tally& /*tally*/) { has_changed_ = true; }

void JsonView::Refresh(const Tally& tally) {
  if (!has_changed_ || MonotonicNow() < next_print_) return;
  next_print_ = MonotonicNow() + kBetweenDraws;
  has_changed_ = false;
  Print(JsonReport(tally, names_) + '\n');
  FlushOutput();
}

void JsonView::End(const Tally& tally) {
  if (has_changed_ || tally.has_unfinished_line()) Print(JsonReport(tally, names_) + '\n');
}

}  // namespace ctl
