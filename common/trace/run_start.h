#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "common/trace/line_table.h"

namespace ctl {

/// Whether `text` begins with a line that can be the first of a run of the proxy.
bool BeginsLikeRun(std::string_view text);
/// Where in `text` such a line may begin, from `from` on; npos for nowhere.
std::size_t FindRun(std::string_view text, std::size_t from);

/// Where the proxy's main stands, told by its lines, and which of them can come next. A run may
/// begin anywhere, even in the middle of a line, since the proxy may be killed at any moment. The
/// counts must then agree with the lines read. Small and without pointers.
class RunStart {
 public:
  enum class Stage : std::uint8_t {
    kUnknown,  ///< the trace begins somewhere
    kReading,
    kCounted,
    kBound,
    kAnswerThread,  ///< the answer thread has been created
    kStarted,       ///< and the query thread
    kFailing,
    kOver,
  };

  static bool IsMains(Line line);
  /// Whether main can print this line now. If so, main now stands behind it; false changes nothing.
  bool Place(const LineFields& fields);

  /// Lines of the configuration have been read and their counts are still to come.
  bool IsReading() const { return state_.reading_lines > 0; }
  /// They were no start after all. Returns how many lines were mistaken for one.
  std::uint64_t CancelReading();

  /// Whether the workers may exist.
  bool HasWorkers() const;
  Stage stage() const { return state_.stage; }
  void Forget() { state_ = State(); }

  /// For saving: all of it.
  struct State {
    Stage stage = Stage::kUnknown;
    std::int64_t reading_lines = 0;
    std::int64_t dns_lines = 0;
    std::int64_t hostmap_lines = 0;
    std::int64_t glued_lines = 0;  // beginnings of a run behind a line that was broken off
    std::int64_t servers_to_come = 0;
    std::int64_t pairs_to_come = 0;
  };
  const State& state() const { return state_; }
  void set_state(const State& state) { state_ = state; }

 private:
  bool PlaceReading(const LineFields& fields);
  bool PlaceCounts(const LineFields& fields);
  bool PlaceLoading(const LineFields& fields);
  bool MoveOn(Stage from, Stage to);

  State state_;
};

}  // namespace ctl
