#pragma once

#include "companion/probe/proxy_probe.h"

namespace ctl {

struct ProbeOptions {
  int timeout_ms = kUsualTimeoutMs;
  /// Ask the configured servers instead of the proxy.
  bool upstreams = false;
};

/// kOk when the proxy, or every server, answers; otherwise kNo.
int RunProbe(const ProbeOptions& options);

}  // namespace ctl
