#include "tests/fuzz/quiet_trace.h"

#include <unistd.h>

#include "dns_proxy_mac/trace/output.h"
#include "tests/fuzz/check.h"

namespace {

// A process that starts without standard output drops its trace.
bool LoseStandardOutputForAMoment() {
  const int kept = dup(STDOUT_FILENO);
  close(STDOUT_FILENO);
  trace::OpenOutput();
  if (kept != -1) {
    CHECK(dup2(kept, STDOUT_FILENO) == STDOUT_FILENO);
    close(kept);
  }
  return true;
}

}  // namespace

void QuietTrace() {
  static const bool quiet = LoseStandardOutputForAMoment();
  static_cast<void>(quiet);
  trace::Flush();
}
