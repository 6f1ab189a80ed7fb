#include "common/platform/process_table.h"

namespace ctl {

std::optional<Process> FindProxy() {
  std::optional<Process> found;
  for (const Process& process : ProcessesNamedAsProxy()) {
    const bool holds = HoldsLocalPort(process);
    if (holds || !found) found = process;
    if (holds) break;
  }
  return found;
}

}  // namespace ctl
