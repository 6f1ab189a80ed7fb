#include "common/trace/line_reading.h"

#include <algorithm>

namespace ctl {
namespace {

constexpr std::size_t kLongestName = 1024;
// A datagram's name lies behind its header and a first length byte.
constexpr std::int64_t kBytesInFrontOfName = 13;
constexpr std::size_t kLongestTail = 160;  // what follows a name in its line
constexpr std::size_t kOtherLinesBetween = 1024;

// Behind a name in line 432: the line end, and line 464 up to the same name.
const std::string& BetweenCopies() {
  static const std::string between = '\n' + std::string(RowOf(Line::kRequestFiled).plain[0]);
  return between;
}

std::size_t LongestName(const ReadingState& state) {
  if (state.datagram_size < 0) return kLongestName;
  const std::int64_t longest = std::max<std::int64_t>(state.datagram_size - kBytesInFrontOfName, 1);
  return std::min(static_cast<std::size_t>(longest), kLongestName);
}

Fit BeginsWith(std::string_view text, std::string_view what) {
  if (text.size() >= what.size()) {
    return text.substr(0, what.size()) == what ? Fit::kYes : Fit::kNo;
  }
  return what.substr(0, text.size()) == text ? Fit::kMore : Fit::kNo;
}

// Whether line 614 of the query just filed comes next, or the run was broken off before the end of
// that line.
Fit GoesOnWithTry(std::string_view text, bool is_all, std::int32_t id) {
  const LineRow& row = RowOf(Line::kNextMethodTried);
  LineFields tried;
  const Fit fit = TakeLine(row, text, tried);
  if (fit == Fit::kYes) return tried.id == id ? Fit::kYes : Fit::kNo;
  if (fit == Fit::kMore) return is_all ? Fit::kYes : Fit::kMore;
  const std::string expected =
      std::string(row.plain[0]) + std::to_string(id) + std::string(row.plain[1]) + "0\n";
  std::string_view whole = expected;
  // A run may begin with what the line would have gone on with.
  while (!BeginsLikeRun(text)) {
    if (text.empty() || whole.empty() || text.front() != whole.front()) return Fit::kNo;
    text.remove_prefix(1);
    whole.remove_prefix(1);
  }
  return Fit::kYes;
}

}  // namespace

Fit LineReading::Collect(const ReadingState& state, std::string_view text, bool is_all,
                         LineFields& fields) {
  readings_.clear();
  const LineRow* row = nullptr;
  const Fit known = Recognise(text, likely_[last_], row);
  if (known != Fit::kYes) return known;
  likely_[last_] = row;
  last_ = static_cast<std::size_t>(row->line);
  fields = LineFields();
  fields.line = row->line;
  fields.size = row->plain[0].size();
  std::size_t field = 0;
  const Fit fit = TakeFields(*row, text, field, fields);
  if (fit != Fit::kYes || field == row->roles.size()) return fit;
  switch (row->line) {
    case Line::kDomainDecoded:
      return CollectDecoded(state, text, is_all, fields);
    case Line::kRequestFiled:
      return CollectFiledAlone(state, text, fields);
    case Line::kFoundInHostMap:
      return CollectByTail(text, is_all, fields);
    default:
      break;
  }
  const Fit named = row->line == Line::kResponseWithoutAnswer ? CollectWithoutAnswer(text, fields)
                                                              : CollectByTail(text, is_all, fields);
  if (named != Fit::kNo || !MayBeOfNext(state)) return named;
  return CollectOfNext(state, text, is_all, fields, field);
}

// The name of `head` ends at `end`: whether the text behind it says so.
Fit LineReading::FitDecoded(const ReadingState& state, std::string_view text, bool is_all,
                            std::size_t begin, std::size_t end, LineFields& fields) const {
  const std::string_view name = text.substr(begin, end - begin);
  const std::size_t copy = end + BetweenCopies().size();
  const Fit fit = BeginsWith(text.substr(copy), name);
  if (fit != Fit::kYes) return fit;
  const LineRow& filed = RowOf(Line::kRequestFiled);
  fields = LineFields();
  fields.line = Line::kRequestFiled;
  fields.text = name;
  fields.size = copy + name.size();
  LineFields behind = fields;
  // The plain text in front of the name has been passed: what is left begins behind the name.
  std::size_t at = fields.size;
  const std::string_view tail = filed.plain[1];
  const Fit tail_fit = BeginsWith(text.substr(at), tail);
  if (tail_fit != Fit::kYes) return tail_fit;
  behind.size = 0;
  std::size_t field = 1;
  const std::string_view rest = text.substr(at);
  const Fit id_fit = TakeFields(filed, rest, field, behind);
  if (id_fit != Fit::kYes) return id_fit;
  if (state.next_id != ReadingState::kUnknown && behind.id != state.next_id) return Fit::kNo;
  fields.id = behind.id;
  fields.size = at + behind.size;
  return GoesOnWithTry(text.substr(fields.size), is_all, fields.id);
}

Fit LineReading::CollectDecoded(const ReadingState& state, std::string_view text, bool is_all,
                                const LineFields& head) {
  const std::string& between = BetweenCopies();
  const std::size_t begin = head.size;
  const std::size_t last_end = begin + LongestName(state);
  const std::string_view searched = text.substr(0, last_end + between.size());
  bool may_come = !is_all && searched.size() < last_end + between.size();
  doubtful_ = last_end + between.size() + (last_end - begin) + kLongestTail;
  for (std::size_t end = searched.find(between, begin + 1); end != kNowhere;
       end = searched.find(between, end + 1)) {
    LineFields fields;
    const Fit fit = FitDecoded(state, text, is_all, begin, end, fields);
    if (fit == Fit::kMore && !is_all) return Fit::kMore;
    if (fit != Fit::kYes) continue;
    readings_.push_back(fields);
    // A longer name begins with all of this reading, and line 614 behind it.
    const std::size_t shortest = fields.size + RowOf(Line::kNextMethodTried).plain[0].size();
    if (shortest > last_end) {
      may_come = false;
      break;
    }
  }
  if (may_come) return Fit::kMore;
  std::reverse(readings_.begin(), readings_.end());
  return readings_.empty() ? CollectDecodedAlone(text, is_all, head) : Fit::kYes;
}

// In traces of version 1.0 lines of the other worker may come between the two copies; names with
// line feeds are not expected there. At the end of the trace line 464 may be missing.
Fit LineReading::CollectDecodedAlone(std::string_view text, bool is_all, const LineFields& head) {
  const std::size_t end = text.find('\n', head.size);
  if (end == kNowhere) return is_all || text.size() > doubtful_ ? Fit::kNo : Fit::kMore;
  const std::string_view name = text.substr(head.size, end - head.size);
  std::string copy = BetweenCopies();
  copy.append(name).append(RowOf(Line::kRequestFiled).plain[1]);
  const std::string_view behind = text.substr(end, kOtherLinesBetween);
  const bool is_last = is_all && BeginsWith(behind, copy) == Fit::kMore;
  if (name.empty()) return Fit::kNo;
  if (!is_last && behind.find(copy) == kNowhere) {
    return is_all || behind.size() == kOtherLinesBetween ? Fit::kNo : Fit::kMore;
  }
  readings_.push_back(head);
  readings_.back().text = name;
  readings_.back().size = end + 1;
  return Fit::kYes;
}

// Line 464 without line 432 directly in front of it.
Fit LineReading::CollectFiledAlone(const ReadingState& state, std::string_view text,
                                   const LineFields& head) {
  if (!state.steps.MayFileAlone()) return Fit::kNo;
  const std::size_t line_end = text.find('\n', head.size);
  if (line_end == kNowhere)
    return text.size() > kLongestName + kLongestTail ? Fit::kNo : Fit::kMore;
  const LineRow& row = RowOf(Line::kRequestFiled);
  const std::size_t end = text.substr(0, line_end).rfind(row.plain[1]);
  if (end == kNowhere || end < head.size) return Fit::kNo;
  LineFields fields = head;
  fields.text = text.substr(head.size, end - head.size);
  if (state.steps.HasDecoded() && fields.text != names_->decoded) return Fit::kNo;
  fields.size = end;
  std::size_t field = 1;
  const Fit fit = TakeFields(row, text, field, fields);
  if (fit == Fit::kYes) readings_.push_back(fields);
  return fit;
}

Fit LineReading::CollectWithoutAnswer(std::string_view text, const LineFields& head) {
  const std::string_view tail = RowOf(Line::kResponseWithoutAnswer).plain[3];
  bool needs_more = false;
  const auto take = [&](std::string_view name) {
    Fit fit = BeginsWith(text.substr(head.size), name);
    if (fit == Fit::kYes) fit = BeginsWith(text.substr(head.size + name.size()), tail);
    needs_more = needs_more || fit == Fit::kMore;
    if (fit != Fit::kYes) return false;
    readings_.push_back(head);
    readings_.back().text = text.substr(head.size, name.size());
    readings_.back().size = head.size + name.size() + tail.size();
    return true;
  };
  if (names_->AnyName(head.id, take)) return Fit::kYes;
  if (needs_more) return Fit::kMore;
  doubtful_ = kLongestName + kLongestTail;
  if (!names_->MayBeWithoutName(head.id)) return Fit::kNo;
  const std::size_t line_end = text.find('\n', head.size);
  if (line_end == kNowhere) return text.size() > doubtful_ ? Fit::kNo : Fit::kMore;
  take(text.substr(head.size, text.substr(0, line_end + 1).rfind(tail) - head.size));
  return readings_.empty() ? Fit::kNo : Fit::kYes;
}

bool LineReading::MayBeOfNext(const ReadingState& state) const {
  return state.next_id != ReadingState::kUnknown && state.next_name.empty() &&
         state.steps.MayTakeNext() && names_->MayBeGiven(state.next_id);
}

// Every place up to `most` at which the name of `head`, its field number `field`, can end.
template <typename Accepts>
Fit LineReading::CollectEnds(std::string_view text, bool is_all, std::size_t most,
                             const LineFields& head, std::size_t field, Accepts accepts) {
  const LineRow& row = RowOf(head.line);
  const std::string_view behind = row.plain[field + 1];
  const std::string_view searched = text.substr(0, most);
  for (std::size_t end = searched.find(behind, head.size + 1); end != kNowhere;
       end = searched.find(behind, end + 1)) {
    LineFields fields = head;
    fields.text = text.substr(head.size, end - head.size);
    fields.size = end;
    std::size_t next = field + 1;
    const Fit fit = TakeFields(row, text, next, fields);
    if (fit == Fit::kMore && !is_all) return Fit::kMore;
    if (fit == Fit::kYes && accepts(fields)) readings_.push_back(fields);
  }
  std::reverse(readings_.begin(), readings_.end());
  return readings_.empty() ? Fit::kNo : Fit::kYes;
}

// The name may go on behind what could be its end.
Fit LineReading::CollectOfNext(const ReadingState& state, std::string_view text, bool is_all,
                               LineFields head, std::size_t field) {
  const std::size_t longest = head.size + kLongestName + kLongestTail;
  if (!is_all && text.size() < longest) return Fit::kMore;
  head.is_of_next = true;
  const auto is_next = [&state](const LineFields& fields) {
    return fields.id == state.next_id && fields.text.size() <= kLongestName;
  };
  const Fit fit = CollectEnds(text, is_all, longest, head, field, is_next);
  const std::string_view tail = RowOf(head.line).plain[field + 1];
  const std::string_view line = text.substr(0, text.find('\n') + 1);
  if (fit == Fit::kNo && line.find(tail) == kNowhere) doubtful_ = longest;
  return fit;
}

// Lines whose name stands in front of its id.
Fit LineReading::CollectByTail(std::string_view text, bool is_all, const LineFields& head) {
  const std::size_t line_end = text.find('\n', head.size);
  const std::size_t longest = head.size + kLongestName + kLongestTail;
  const bool reaches_on = names_->AnyWithLineFeed();
  doubtful_ = reaches_on ? longest : 0;
  if (line_end == kNowhere && text.size() < longest) return Fit::kMore;
  const auto is_known = [&](const LineFields& fields) {
    const bool is_of_line = fields.text.find('\n') == kNowhere;
    return (is_of_line && names_->MayBeWithoutName(fields.id)) ||
           names_->IsNamed(fields.id, fields.text);
  };
  const Fit fit = CollectEnds(text, is_all, reaches_on ? longest : line_end, head, 0, is_known);
  const bool may_grow = reaches_on && !is_all && text.size() < longest;
  return may_grow && names_->MayBecomeLongName(text.substr(head.size)) ? Fit::kMore : fit;
}

}  // namespace ctl
