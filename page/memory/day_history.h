#pragma once

#include <string>

#include "page/live/day_counts.h"

namespace page {

/// The counts of the last 24 hours as they are remembered.
DayCounts LoadDay(const std::string& path);

}  // namespace page
