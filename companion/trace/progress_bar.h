#pragma once

#include <cstdint>

namespace ctl {

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
