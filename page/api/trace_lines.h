#pragma once

#include <string>
#include <vector>

#include "page/memory/query.h"

namespace page {

/// The lines of the trace that belong to one query, from the file in which it was seen, as long as
/// that is there; as they may be shown (ctl::Shown). `path`: of the trace. Looks at a bounded
/// stretch of the file, and gives the beginning of what is found.
std::vector<std::string> TraceLinesOf(const Query& query, const std::string& path);

}  // namespace page
