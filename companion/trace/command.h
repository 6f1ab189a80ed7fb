#pragma once

#include <string>

namespace ctl {

struct TraceOptions {
  /// "-" for standard input.
  std::string path = "-";
  /// Go on at the end of the file.
  bool follow = false;
  bool json = false;
};

/// Reads a trace and prints what it tells. kOk, kNo when no line of it is the proxy's, kError when
/// it can't be read, kUsage when it would have to be typed in.
int RunTrace(const TraceOptions& options);

}  // namespace ctl
