#include "companion/probe/command.h"

#include "common/output/exit_status.h"
#include "common/output/output.h"
#include "companion/probe/upstream_probe.h"

namespace ctl {

int RunProbe(const ProbeOptions& options) {
  if (options.upstreams) return ProbeUpstreams(options.timeout_ms);
  const ProbeResult result = ProbeProxy(options.timeout_ms);
  Print("127.0.0.1:53  " + result.words + '\n');
  return result.is_well ? kOk : kNo;
}

}  // namespace ctl
