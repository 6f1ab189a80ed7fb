#pragma once

#include <string>
#include <vector>

#include "common/trace/tally.h"

namespace ctl {

/// What the tally tells, for people: a line each, without line ends. `names` is how many of the
/// busiest names and of the waiting queries are listed at most.
std::vector<std::string> TextReport(const Tally& tally, std::size_t names);

/// The same as one JSON object on one line, without its line end.
std::string JsonReport(const Tally& tally, std::size_t names);

/// How many lines were not understood, and the first of them.
std::string UnderstandingInWords(const Tally& tally);

/// "serves", "has ended": how far the last run has come.
const char* InWords(RunState state);

}  // namespace ctl
