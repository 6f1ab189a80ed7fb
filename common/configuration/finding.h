#pragma once

#include <cstddef>
#include <string>

namespace ctl {

/// An error is something by which questions go wrong: dropped, circling, wrongly answered, or no
/// service at all. A warning is a line that does less than, or other than, it seems to.
enum class Severity { kWarning, kError };

/// One thing in a file that will not do what its author meant.
struct Finding {
  /// Counted from 1; 0 when it is about the file as a whole.
  std::size_t line;
  Severity severity;
  /// What the file says.
  std::string what;
  /// What the proxy will do about it. True to the letter.
  std::string effect;
};

}  // namespace ctl
