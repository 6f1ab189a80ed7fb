#include "common/trace/line_buffer.h"

#include <cstring>

namespace ctl {

char* LineBuffer::Space() {
  if (begin_ > 0) {
    std::memmove(bytes_.data(), bytes_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
  }
  return bytes_.data() + end_;
}

bool LineBuffer::Take(std::string_view& line) {
  for (;;) {
    const std::string_view left = Unfinished();
    const std::size_t length = left.find('\n');
    const bool is_whole = length != std::string_view::npos;
    if (!is_whole && left.size() < kCapacity && !skips_rest_) return false;
    begin_ += is_whole ? length + 1 : left.size();
    const bool was_begun = skips_rest_;
    skips_rest_ = !is_whole;
    if (was_begun) {
      if (!is_whole) return false;
      continue;
    }
    line = left.substr(0, length);
    return true;
  }
}

void LineBuffer::Clear() {
  begin_ = end_ = 0;
  skips_rest_ = false;
}

}  // namespace ctl
