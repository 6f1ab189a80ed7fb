#include "common/configuration/carriage_returns.h"

#include "common/output/shown_text.h"

namespace ctl {

CarriageReturns::CarriageReturns(const FileText& text) {
  for (std::size_t at = 0; at < text.lines.size(); ++at) {
    const std::string_view line = text.lines[at];
    if (line.empty() || line.back() != '\r') continue;
    if (count_++ == 0) first_line_ = at + 1;
  }
}

void CarriageReturns::Check(std::size_t line, Report& report) const {
  if (count_ == 0 || line != first_line_) return;
  report.Warning(line,
                 count_ == 1
                     ? "a carriage return ends the line"
                     : "a carriage return ends this and " + Counted(count_ - 1, "more line"),
                 "it stays a part of the line; an address in front of it is taken all the same");
}

}  // namespace ctl
