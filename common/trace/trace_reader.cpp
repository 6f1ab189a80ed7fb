#include "common/trace/trace_reader.h"

#include <algorithm>

#include "common/trace/reader_inside.h"

namespace ctl {
namespace {

// Only lines that show the configuration are longer.
constexpr std::size_t kLongestLine = 1 << 16;

bool ShowsConfiguration(std::string_view text, LineFields& fields) {
  const LineRow* row = nullptr;
  if (Recognise(text, nullptr, row) != Fit::kYes) return false;
  fields = LineFields();
  fields.line = row->line;
  fields.text = text;
  fields.size = text.size();
  return !row->roles.empty() && row->roles.front() == 't';
}

// In a line, or in lines 432 and 464 together.
std::uint64_t LineEnds(std::string_view text, const LineFields& fields) {
  if (fields.text.find('\n') != kNowhere) {
    return static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
  }
  const std::string_view decoded = RowOf(Line::kDomainDecoded).plain[0];
  return fields.line == Line::kRequestFiled && text.substr(0, decoded.size()) == decoded ? 2 : 1;
}

}  // namespace

TraceReader::TraceReader() : inside_(std::make_unique<Inside>()) {}
TraceReader::~TraceReader() = default;

void TraceReader::AddConsumer(TraceConsumer& consumer) { inside_->consumers.push_back(&consumer); }

void TraceReader::Feed(std::string_view bytes, std::int64_t arrival) {
  inside_->Feed(bytes, arrival);
}

void TraceReader::EndFile() { inside_->EndFile(); }

std::uint64_t TraceReader::offset() const { return inside_->offset; }
std::uint64_t TraceReader::lines() const { return inside_->lines; }
std::uint64_t TraceReader::not_understood() const { return inside_->not_understood; }
std::uint64_t TraceReader::first_not_understood() const { return inside_->first_not_understood; }
bool TraceReader::has_unfinished_line() const { return inside_->has_unfinished_line; }
const std::vector<std::string>& TraceReader::servers() const { return inside_->servers; }
std::size_t TraceReader::waiting() const { return inside_->queries.size(); }
std::vector<const Query*> TraceReader::Waiting(std::size_t most) const {
  return inside_->queries.Some(most);
}
std::string TraceReader::Save() const { return inside_->Save(); }

bool TraceReader::Load(std::string_view saved) {
  if (inside_->Load(saved)) return true;
  const std::vector<TraceConsumer*> consumers = inside_->consumers;
  inside_ = std::make_unique<Inside>();
  inside_->consumers = consumers;
  return false;
}

void TraceReader::Inside::Feed(std::string_view bytes, std::int64_t arrival) {
  now_ = arrival;
  if (rest_.empty()) {
    const std::size_t taken = ReadAll(bytes, false);
    rest_.assign(bytes.substr(taken));
  } else {
    rest_.append(bytes);
    rest_.erase(0, ReadAll(rest_, false));
  }
  has_unfinished_line = !rest_.empty() || skips_line_;
}

void TraceReader::Inside::EndFile() {
  rest_.erase(0, ReadAll(rest_, true));
  has_unfinished_line = !rest_.empty() || skips_line_;
  rest_.clear();
  skips_line_ = false;
  offset = 0;
  state_.Forget();
}

// How many bytes have been taken.
std::size_t TraceReader::Inside::ReadAll(std::string_view text, bool is_all) {
  std::size_t taken = 0;
  while (taken < text.size()) {
    const std::size_t more = ReadOne(text.substr(taken), is_all);
    if (more == 0) break;
    taken += more;
  }
  offset += taken;
  return taken;
}

// 0 when more is needed.
std::size_t TraceReader::Inside::ReadOne(std::string_view text, bool is_all) {
  if (skips_line_) {
    const std::size_t end = text.find('\n');
    skips_line_ = end == kNowhere;
    if (!skips_line_) ++lines;
    return std::min(end, text.size() - 1) + 1;
  }
  LineFields fields;
  const Fit fit = reading_.Read(text, is_all, fields);
  if (fit == Fit::kMore) return text.size() < kLongestLine ? 0 : CutLongLine(text);
  if (fit == Fit::kNo) return PassForeign(text, is_all, reading_.doubtful());
  if (!Place(fields)) {
    const std::size_t run = FindRun(text.substr(0, fields.size), 1);
    if (run != kNowhere) return PassForeign(text, is_all, 0);
    Pass(text.substr(0, fields.size), false);
    return fields.size;
  }
  lines += LineEnds(text.substr(0, fields.size), fields);
  return fields.size;
}

std::size_t TraceReader::Inside::CutLongLine(std::string_view text) {
  LineFields fields;
  if (!ShowsConfiguration(text, fields) || !Place(fields)) Pass(text, false);
  skips_line_ = true;
  return text.size();
}

// Skips what the proxy has not printed, or has printed in part: up to the end of the line, and of a
// name that may be in it. A run that begins in there is not skipped.
std::size_t TraceReader::Inside::PassForeign(std::string_view text, bool is_all,
                                             std::size_t doubtful) {
  std::size_t end = text.find('\n');
  if (end == kNowhere && text.size() >= kLongestLine) return CutLongLine(text);
  if (end == kNowhere) {
    if (!is_all) return 0;
    end = text.size();
  }
  const std::size_t line_end = std::min(end + 1, text.size());
  if (doubtful > text.size() && !is_all) return 0;
  const std::size_t searched = std::min(std::max(line_end, doubtful), text.size());
  for (std::size_t run = FindRun(text.substr(0, searched), 1); run != kNowhere;
       run = FindRun(text.substr(0, searched), run + 1)) {
    const Fit fit = reading_.BeginsRun(text.substr(run), is_all);
    if (fit == Fit::kMore) return 0;
    if (fit != Fit::kYes) continue;
    Pass(text.substr(0, run), false);
    return run;
  }
  if (line_end > end) {
    end = line_end;
    while (end < doubtful && end < text.size()) {
      const std::size_t next = text.find('\n', end);
      if (next == kNowhere && !is_all && text.size() < kLongestLine) return 0;
      if (next == kNowhere) break;
      end = next + 1;
    }
    Pass(text.substr(0, end), false);
    return end;
  }
  return 0;
}

void TraceReader::Inside::Pass(std::string_view text, bool understood) {
  const auto count = static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
  const bool is_broken_off = text.back() != '\n';
  if (!understood) {
    if (not_understood == 0) first_not_understood = lines + 1;
    not_understood += count + (is_broken_off ? 1 : 0);
  }
  lines += count;
}

}  // namespace ctl
