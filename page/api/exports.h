#pragma once

#include <functional>
#include <memory>
#include <string>

#include "page/http/response.h"
#include "page/memory/query_log.h"

namespace page {

/// All queries of a filter as a file to be saved: RFC 4180 text or a JSON array. Read from the
/// database piece by piece while it is sent, so that its length does not matter. `open` gives the
/// database at each piece.
using DatabaseAtHand = std::function<Database&()>;
Response CsvExport(DatabaseAtHand open, QueryFilter filter);
Response JsonExport(DatabaseAtHand open, QueryFilter filter);

/// One row, with its line end. A value that a spreadsheet would take for a formula begins with an
/// apostrophe.
std::string CsvRow(const Query& query);

}  // namespace page
