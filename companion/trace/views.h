#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "common/trace/tally.h"

namespace ctl {

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

}  // namespace ctl
