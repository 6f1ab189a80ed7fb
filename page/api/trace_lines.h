#pragma once

#include <string>
#include <vector>

#include "page/memory/query.h"

namespace page {

/// The lines of the trace that belong to one query, in the form that may be shown (ctl::Shown).
/// They are read from the file in which the query was seen, while that exists. `path`: of the
/// trace. Looks at a bounded part of the file, and returns the beginning of what is found.
std::vector<std::string> TraceLinesOf(const Query& query, const std::string& path);

}  // namespace page
