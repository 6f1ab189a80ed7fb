#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/platform/process_table.h"

namespace ctl {

/// Decides, look by look, whether the proxy's query thread has ended while the process lives on: a
/// proxy that nothing can be asked of any more.
///
/// A proxy that serves has three threads: the one that waits, the answer thread, the query thread.
/// It has fewer while it starts and, for a moment, while it ends; neither may be taken for it.
class IntakeWatcher {
 public:
  /// One look at the process table. The process, when its query thread has ended and it has not
  /// been named before.
  std::optional<Process> Look();

 private:
  bool FindProxy();
  bool HasLostQueryThread(const std::vector<std::uint64_t>& threads);

  std::optional<Process> proxy_;
  /// The threads of the proxy when it had all three of them; empty before.
  std::vector<std::uint64_t> all_threads_;
  int looks_at_two_threads_ = 0;
  bool was_named_ = false;
};

}  // namespace ctl
