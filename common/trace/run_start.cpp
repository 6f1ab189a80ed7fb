#include "common/trace/run_start.h"

#include <algorithm>
#include <utility>

namespace ctl {
namespace {

constexpr Line kFirstLines[] = {Line::kReadDnsLine, Line::kReadHostmapLine,
                                Line::kConfigurationCounts};

}  // namespace

bool BeginsLikeRun(std::string_view text) {
  return std::any_of(std::begin(kFirstLines), std::end(kFirstLines), [text](Line line) {
    const std::string_view plain = RowOf(line).plain[0];
    return text.substr(0, plain.size()) == plain;
  });
}

std::size_t FindRun(std::string_view text, std::size_t from) {
  std::size_t found = std::string_view::npos;
  for (const Line line : kFirstLines) {
    found = std::min(found, text.substr(0, found).find(RowOf(line).plain[0], from));
  }
  return found;
}

bool RunStart::IsMains(Line line) { return line <= Line::kQueryThreadCreated; }

bool RunStart::Place(const LineFields& fields) {
  switch (fields.line) {
    case Line::kReadDnsLine:
    case Line::kReadHostmapLine:
      return PlaceReading(fields);
    case Line::kConfigurationCounts:
      return PlaceCounts(fields);
    default:
      return PlaceLoading(fields);
  }
}

// The stage stays what it was until the counts come, in case they do not.
bool RunStart::PlaceReading(const LineFields& fields) {
  if (!IsReading()) state_.dns_lines = state_.hostmap_lines = 0;
  ++state_.reading_lines;
  ++(fields.line == Line::kReadDnsLine ? state_.dns_lines : state_.hostmap_lines);
  if (FindRun(fields.text, 0) != std::string_view::npos) ++state_.glued_lines;
  return true;
}

// There may be more lines than were counted: those of an earlier run that was killed while it read.
bool RunStart::PlaceCounts(const LineFields& fields) {
  const std::int64_t servers = fields.numbers[0];
  const std::int64_t pairs = fields.numbers[1];
  if (servers < 0 || pairs < 0) return false;
  const bool is_first = state_.stage == Stage::kUnknown;
  const std::int64_t missing = std::max<std::int64_t>(servers - state_.dns_lines, 0) +
                               std::max<std::int64_t>(pairs - state_.hostmap_lines, 0);
  if (!is_first && missing > state_.glued_lines) return false;
  if (!is_first && !IsReading() && servers + pairs > state_.glued_lines) return false;
  state_ = State();
  state_.stage = Stage::kCounted;
  state_.servers_to_come = servers;
  state_.pairs_to_come = pairs;
  return true;
}

bool RunStart::MoveOn(Stage from, Stage to) {
  if (state_.stage != from && state_.stage != Stage::kUnknown) return false;
  state_.stage = state_.stage == Stage::kUnknown && to != Stage::kStarted && to != Stage::kOver
                     ? Stage::kUnknown
                     : to;
  return true;
}

bool RunStart::PlaceLoading(const LineFields& fields) {
  const bool is_unknown = state_.stage == Stage::kUnknown;
  const bool has_loaded = state_.servers_to_come + state_.pairs_to_come == 0;
  switch (fields.line) {
    case Line::kNothingConfigured:
      return has_loaded && MoveOn(Stage::kCounted, Stage::kOver);
    case Line::kSocketInvalid:
    case Line::kBindFailed:
      return MoveOn(Stage::kCounted, Stage::kFailing);
    case Line::kBindSucceeded:
      return MoveOn(Stage::kCounted, Stage::kBound);
    case Line::kHostMapPairAdded:
    case Line::kServerAdded:
      break;
    case Line::kAnswerThreadNotCreated:
      return has_loaded && MoveOn(Stage::kBound, Stage::kFailing);
    case Line::kAnswerThreadCreated:
      return has_loaded && MoveOn(Stage::kBound, Stage::kAnswerThread);
    case Line::kQueryThreadNotCreated:
      return MoveOn(Stage::kAnswerThread, Stage::kFailing);
    case Line::kQueryThreadCreated:
      return MoveOn(Stage::kAnswerThread, Stage::kStarted);
    case Line::kServiceStartFailed:
      return MoveOn(Stage::kFailing, Stage::kOver);
    default:  // kServiceEnded
      return MoveOn(Stage::kStarted, Stage::kOver);
  }
  if (FindRun(fields.text, 0) != std::string_view::npos) ++state_.glued_lines;
  if (is_unknown) return true;
  const bool is_pair = fields.line == Line::kHostMapPairAdded;
  std::int64_t& to_come = is_pair ? state_.pairs_to_come : state_.servers_to_come;
  if (state_.stage != Stage::kBound || to_come == 0) return false;
  if (!is_pair && state_.pairs_to_come > 0) return false;
  --to_come;
  return true;
}

bool RunStart::HasWorkers() const {
  return !IsReading() && state_.stage != Stage::kCounted && state_.stage != Stage::kBound &&
         state_.stage != Stage::kOver;
}

std::uint64_t RunStart::CancelReading() {
  state_.dns_lines = state_.hostmap_lines = 0;
  return static_cast<std::uint64_t>(std::exchange(state_.reading_lines, 0));
}

}  // namespace ctl
