#pragma once

#include <string>

#include "page/live/snapshot.h"
#include "page/memory/history.h"

namespace page {

inline constexpr const char* kMetricsType =
    "application/openmetrics-text; version=1.0.0; charset=utf-8";

/// The state and the counts in OpenMetrics form. `outcomes`: over all that is remembered.
std::string Metrics(const Snapshot& now, const std::array<std::uint64_t, kOutcomes>& outcomes);

}  // namespace page
