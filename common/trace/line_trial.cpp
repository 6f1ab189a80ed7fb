#include "common/trace/line_reading.h"

namespace ctl {
namespace {

// How far to look ahead, in bytes and in lines tried.
constexpr std::size_t kFarEnough = 8192;
// Up to line 464 of a query whose name was shown before: as many forged responses as fit may come
// in between. Less than the reader keeps of a line.
constexpr std::size_t kFarEnoughForNext = 60000;
constexpr std::size_t kMostLines = 2000;

}  // namespace

void ReadingState::Forget() {
  steps.Forget();
  start.Forget();
  next_id = kUnknown;
  datagram_size = kUnknown;
  next_name.clear();
}

bool KnownNames::IsNamed(std::int32_t id, std::string_view name) const {
  return AnyName(id, [name](std::string_view known) { return known == name; });
}

bool KnownNames::MayBeWithoutName(std::int32_t id) const {
  return !ids_without_name.empty() && ids_without_name[static_cast<std::size_t>(id)];
}

bool KnownNames::MayBeGiven(std::int32_t id) const {
  return !MayBeWithoutName(id) && queries_->Filed(static_cast<std::uint16_t>(id)) == nullptr;
}

bool KnownNames::MayBecomeLongName(std::string_view text) const {
  return AnyWithLineFeed() && queries_->MayBecomeLongName(text);
}

bool ReadingState::Place(const LineFields& fields, bool strict, const Worker*& printer) {
  printer = nullptr;
  if (RunStart::IsMains(fields.line)) {
    if (fields.line == Line::kServiceEnded && !steps.RelayMayHaveEnded()) return false;
    if (!start.Place(fields)) return false;
    if (fields.line == Line::kConfigurationCounts) {
      steps.BeginRun();
      next_id = 0;
      datagram_size = kUnknown;
      next_name.clear();
    }
    return true;
  }
  if (start.stage() == RunStart::Stage::kOver && !start.IsReading()) return false;
  if (strict && !start.HasWorkers()) return false;
  const bool is_of_other =
      fields.line == Line::kRequestFiled && !next_name.empty() && next_name != fields.text;
  if (strict && is_of_other) return false;
  printer = steps.Place(fields, strict);
  if (printer == nullptr) return false;
  if (fields.line == Line::kQueryReceived) datagram_size = fields.numbers[0];
  if (fields.is_of_next) {
    next_name = fields.text;
    steps.TakeNext();
  }
  if (fields.line == Line::kRequestFiled) {
    next_id = (fields.id + 1) % 65536;
    next_name.clear();
  }
  return true;
}

Fit LineReading::Read(std::string_view text, bool is_all, LineFields& fields) {
  doubtful_ = 0;
  const Fit fit = Collect(*state_, text, is_all, fields);
  if (fit == Fit::kMore && is_all) return Fit::kNo;
  if (fit != Fit::kYes || readings_.empty()) return fit;
  if (readings_.size() > 1) return Choose(text, is_all, fields);
  fields = readings_.front();
  return fit;
}

// The longest reading that nothing behind it contradicts. When there is none, the one that is
// contradicted last.
Fit LineReading::Choose(std::string_view text, bool is_all, LineFields& fields) {
  const Readings readings = readings_;
  const std::size_t doubtful = doubtful_;
  const std::size_t last = last_;
  const std::size_t far_enough =
      readings.front().size + (readings.front().is_of_next ? kFarEnoughForNext : kFarEnough);
  text = text.substr(0, far_enough);
  const bool can_grow = !is_all && text.size() < far_enough;
  const bool is_whole = is_all && text.size() < far_enough;
  const LineFields* going_on = nullptr;
  std::size_t count_going_on = 0;
  const LineFields* furthest = &readings.front();
  std::size_t furthest_end = 0;
  for (const LineFields& reading : readings) {
    std::size_t end = 0;
    budget_ = kMostLines;
    if (GoesOn(*state_, reading, text, is_whole, end)) {
      if (going_on == nullptr) going_on = &reading;
      ++count_going_on;
    }
    if (end > furthest_end) {
      furthest = &reading;
      furthest_end = end;
    }
  }
  doubtful_ = doubtful;
  last_ = last;
  if (count_going_on > 1 && can_grow) return Fit::kMore;
  fields = going_on != nullptr ? *going_on : *furthest;
  return Fit::kYes;
}

// Whether the trace goes on behind `first` without a contradiction as far as it is there;
// `reached` is where it comes to an end.
bool LineReading::GoesOn(ReadingState state, const LineFields& first, std::string_view text,
                         bool is_all, std::size_t& reached) {
  const std::size_t tried = names_->tried();
  const Worker* printer = nullptr;
  std::size_t at = 0;
  LineFields fields = first;
  bool goes_on = true;
  for (Readings others;;) {
    goes_on = state.Place(fields, true, printer);
    if (!goes_on) break;
    if (fields.line == Line::kRequestFiled || fields.is_of_next) {
      names_->Try(fields.id, fields.text);
    }
    at += fields.size;
    if (at >= text.size() || budget_ == 0) break;
    --budget_;
    const Fit fit = Collect(state, text.substr(at), is_all, fields);
    if (fit == Fit::kMore) break;
    goes_on = fit == Fit::kYes;
    if (!goes_on) break;
    if (readings_.empty()) continue;
    others = readings_;
    fields = others.back();
    others.pop_back();
    bool other_goes_on = false;
    for (const LineFields& other : others) {
      std::size_t end = 0;
      other_goes_on = GoesOn(state, other, text.substr(at), is_all, end);
      reached = std::max(reached, at + end);
      if (other_goes_on) break;
    }
    if (other_goes_on) break;
  }
  reached = std::max(reached, at);
  names_->ForgetTriedFrom(tried);
  return goes_on;
}

Fit LineReading::BeginsRun(std::string_view text, bool is_all) {
  RunStart start;
  RunStart::State over;
  over.stage = RunStart::Stage::kOver;
  start.set_state(over);
  text = text.substr(0, kFarEnough);
  for (std::size_t at = 0; at < text.size();) {
    const LineRow* row = nullptr;
    LineFields fields;
    Fit fit = Recognise(text.substr(at), nullptr, row);
    if (fit == Fit::kYes) {
      fields.line = row->line;
      if (!BeginsLikeRun(text.substr(at))) return Fit::kNo;
      fit = TakeLine(*row, text.substr(at), fields);
    }
    if (fit == Fit::kMore) break;
    if (fit == Fit::kNo || !start.Place(fields)) return Fit::kNo;
    if (fields.line == Line::kConfigurationCounts) return Fit::kYes;
    at += fields.size;
  }
  return is_all || text.size() == kFarEnough ? Fit::kYes : Fit::kMore;
}

}  // namespace ctl
