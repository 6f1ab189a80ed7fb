#pragma once

#include <memory>
#include <vector>

#include "companion/probe/dns_exchange.h"

namespace ctl {

using Exchanges = std::vector<std::unique_ptr<Exchange>>;

/// Waits until none of the exchanges is waiting any more, or `timeout_ms` have passed. As many as
/// the process may have descriptors.
void WaitForAnswers(const Exchanges& exchanges, int timeout_ms);

}  // namespace ctl
