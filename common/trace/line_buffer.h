#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace ctl {

/// Turns bytes that come in pieces into lines. A line of more than a megabyte is handed out once,
/// cut to that.
class LineBuffer {
 public:
  static constexpr std::size_t kCapacity = 1 << 20;

  LineBuffer() : bytes_(kCapacity) {}

  /// Where the next piece goes: `SpaceSize` bytes, never none. Lines that were taken are gone.
  char* Space();
  std::size_t SpaceSize() const { return kCapacity - end_; }
  /// So many bytes of the space have been filled.
  void Added(std::size_t size) { end_ += size; }

  /// The next line without its line end, good until the next call of `Space`. False when no whole
  /// line is left.
  bool Take(std::string_view& line);

  /// What is left without a line end.
  std::string_view Unfinished() const { return {bytes_.data() + begin_, end_ - begin_}; }
  void Clear();

 private:
  std::vector<char> bytes_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  bool skips_rest_ = false;  // of a line whose beginning has been handed out
};

}  // namespace ctl
