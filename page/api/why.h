#pragma once

#include <string>

#include "page/memory/query.h"

namespace page {

/// Why a query got what it got, in a sentence or two.
std::string WhyOf(const Query& query);

/// The line of the host map that would answer `name` (as it is shown), with a made-up address, or
/// why no line can: then it ends in a full stop.
std::string HostMapLineFor(const std::string& name);

}  // namespace page
