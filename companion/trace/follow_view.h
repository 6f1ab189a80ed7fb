#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "common/trace/tally.h"

namespace ctl {

/// How somebody who follows a trace gets to see it.
class FollowView {
 public:
  FollowView() = default;
  FollowView(const FollowView&) = delete;
  FollowView& operator=(const FollowView&) = delete;
  virtual ~FollowView() = default;

  /// A line has come; `tally` has not taken it yet.
  virtual void LineComes(std::string_view line, const Tally& tally) = 0;
  /// It is time to show what has changed.
  virtual void Refresh(const Tally& tally) = 0;
  /// The last of it: no line comes any more.
  virtual void End(const Tally& tally) = 0;
};

/// A line for each event worth one, for pipes and files.
class NewsView : public FollowView {
 public:
  void LineComes(std::string_view line, const Tally& tally) override;
  void Refresh(const Tally& tally) override;
  void End(const Tally& tally) override;
};

/// A JSON object on a line of its own after every change, five a second at most.
class JsonView : public FollowView {
 public:
  explicit JsonView(std::size_t names) : names_(names) {}
  void LineComes(std::string_view line, const Tally& tally) override;
  void Refresh(const Tally& tally) override;
  void End(const Tally& tally) override;

 private:
  std::size_t names_;
  bool has_changed_ = true;
  std::int64_t next_print_ = 0;
};

/// The report on the whole of the terminal, redrawn in place five times a second at most. The
/// terminal's own content comes back at the end, with the last report below it.
class LiveView : public FollowView {
 public:
  LiveView(std::string source, std::size_t names);
  ~LiveView() override;
  void LineComes(std::string_view line, const Tally& tally) override;
  void Refresh(const Tally& tally) override;
  void End(const Tally& tally) override;

 private:
  std::string Screen(const Tally& tally);
  void Leave();

  std::string source_;
  std::size_t names_;
  bool is_on_screen_ = false;
  bool has_changed_ = true;
  unsigned short rows_ = 0;
  unsigned short columns_ = 0;
  std::int64_t next_draw_ = 0;
};

}  // namespace ctl
