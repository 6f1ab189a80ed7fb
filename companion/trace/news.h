#pragma once

#include <string>
#include <string_view>

#include "common/trace/tally.h"

namespace ctl {

/// What `line` tells that is worth a line of its own to somebody who follows the trace: how a query
/// ended, what was dropped, that the proxy or a worker of it began or ended. Empty for all others.
/// `tally` has taken the lines before this one and not yet this one.
std::string News(std::string_view line, const Tally& tally);

}  // namespace ctl
