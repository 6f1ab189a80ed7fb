#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "common/trace/tally.h"

namespace ctl {

/// Columns of the rows of a report of unlimited width.
inline constexpr std::size_t kWidestReport = 80;

/// What the tally tells, for people: a line each, without line ends. At most `names` of the busiest
/// names, and of the waiting queries, are listed. Rows are narrower when there are fewer `columns`,
/// so that their counts stay visible.
std::vector<std::string> TextReport(const Tally& tally, std::size_t names, std::size_t columns);

/// The same as one JSON object on one line, without its line end.
std::string JsonReport(const Tally& tally, std::size_t names);

/// How many lines were not understood, and the first of them.
std::string UnderstandingInWords(const Tally& tally);

/// "serves", "has ended": how far the last run has come.
const char* InWords(RunState state);

/// The server that the query has been sent to last; empty when that is not known.
std::string ServerOf(const Query& query, const TraceReader& reader);

/// How to get the trace out of a file of which nothing has been understood, judged by its
/// beginning: compressed, or with something in front of each line. Empty when there is nothing to
/// say.
std::string HintFor(std::string_view beginning, const std::string& path);

}  // namespace ctl
