#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "common/trace/tally.h"

namespace ctl {

/// Columns of the rows of a report of unlimited width.
inline constexpr std::size_t kWidestReport = 80;

/// What the tally tells, for people: a line each, without line ends. At most `names` of the busiest
/// names, and of the waiting queries, are listed. Rows are narrower when there are fewer `columns`,
/// so that their counts stay visible.
std::vector<std::string> TextReport(const Tally& tally, std::size_t names, std::size_t columns);

/// The same as one JSON object on one line, without its line end.
std::string JsonReport(const Tally& tally, std::size_t names);

/// How many lines were not understood, and the first of them.
std::string UnderstandingInWords(const Tally& tally);

/// "serves", "has ended": how far the last run has come.
const char* InWords(RunState state);

/// The server that the query has been sent to last; empty when that is not known.
std::string ServerOf(const Query& query, const TraceReader& reader);

/// How to get the trace out of a file of which nothing has been understood, judged by its
/// beginning: compressed, or with something in front of each line. Empty when there is nothing to
/// say.
std::string HintFor(std::string_view beginning, const std::string& path);

/// How a trace is shown to somebody who follows it.
class FollowView : public TraceConsumer {
 public:
  void Take(const TraceEvent& /*event*/) override {}
  /// It is time to show what has changed.
  virtual void Refresh(const Tally& tally) = 0;
  /// The program is about to be suspended; it goes on later.
  virtual void Suspend() {}
  /// The end: nothing more comes.
  virtual void End(const Tally& tally) = 0;
};

/// A line for each notable event, for pipes and files.
class NewsView : public FollowView {
 public:
  void Take(const TraceEvent& event) override;
  void Refresh(const Tally& tally) override;
  void End(const Tally& tally) override;
};

/// A JSON object on a line of its own after every change, five a second at most.
class JsonView : public FollowView {
 public:
  explicit JsonView(std::size_t names) : names_(names) {}
  void Refresh(const Tally& tally) override;
  void End(const Tally& tally) override;

 private:
  std::size_t names_;
  bool is_begun_ = false;
  std::uint64_t shown_lines_ = 0;
  std::int64_t next_print_ = 0;
};

/// The report on the whole terminal, redrawn in place five times a second at most. The terminal's
/// own content comes back at the end, and while the program is suspended; the last report is
/// printed below it.
class LiveView : public FollowView {
 public:
  LiveView(std::string source, std::size_t names);
  ~LiveView() override;
  void Refresh(const Tally& tally) override;
  void Suspend() override;
  void End(const Tally& tally) override;

 private:
  std::string Screen(const Tally& tally) const;
  void Leave();

  std::string source_;
  std::size_t names_;
  bool is_on_screen_ = false;
  std::uint64_t shown_lines_ = 0;
  unsigned short rows_ = 0;
  unsigned short columns_ = 0;
  std::int64_t next_draw_ = 0;
};

/// Whether standard output is a terminal on which something can be drawn in place.
bool CanDrawInPlace();

/// How far the reading of a large file has come, on standard error when that is a terminal. Drawn
/// five times a second at most, and erased at the end.
class ProgressBar {
 public:
  explicit ProgressBar(std::uint64_t total_bytes);
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  ~ProgressBar();

  void Update(std::uint64_t bytes, std::uint64_t lines);

 private:
  std::uint64_t total_;
  bool is_wanted_;
  bool is_drawn_ = false;
  std::int64_t next_draw_ = 0;
};

}  // namespace ctl
