#pragma once

#include <string>

namespace ctl {

struct ProbeResult {
  bool is_well;
  /// One sentence part that says what came of it: "answered in 0.12 ms".
  std::string words;
};

/// Asks 127.0.0.1:53 a reverse name, which the proxy answers without asking any server.
ProbeResult ProbeProxy(int timeout_ms);

}  // namespace ctl
