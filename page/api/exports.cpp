#include "page/api/exports.h"

#include <ctime>
#include <utility>

#include "page/api/documents.h"

namespace page {
namespace {

constexpr std::size_t kRowsInPiece = 500;

std::string IsoTime(std::int64_t milliseconds) {
  const std::time_t seconds = milliseconds / 1000;
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char text[40];
  const std::size_t size = std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%S", &parts);
  char fraction[8];
  static_cast<void>(
      std::snprintf(fraction, sizeof(fraction), ".%03dZ", static_cast<int>(milliseconds % 1000)));
  return std::string(text, size) + fraction;
}

std::string CsvText(std::string_view text) {
  std::string quoted = "\"";
  const bool is_formula =
      !text.empty() && std::string_view("=+-@").find(text.front()) != std::string_view::npos;
  if (is_formula) quoted += '\'';
  for (const char character : text) {
    if (character == '"') quoted += '"';
    quoted += character;
  }
  return quoted + '"';
}

// Goes through a log, newest first, `kRowsInPiece` at a time.
struct Walk {
  DatabaseAtHand open;
  QueryFilter filter;
  std::int64_t before = 0;
  bool is_first = true;

  std::vector<Query> Next() {
    std::vector<Query> rows = QueryLog(open(), filter).Older(before, kRowsInPiece);
    if (!rows.empty()) before = rows.back().id;
    return rows;
  }
};

}  // namespace

std::string CsvRow(const Query& query) {
  std::string row = IsoTime(query.asked) + ',' + CsvText(query.name) + ',' + KeyOf(query.outcome) +
                    ',' + CsvText(query.Server()) + ',';
  if (query.microseconds) row += std::to_string(*query.microseconds);
  return row + "\r\n";
}

Response CsvExport(DatabaseAtHand open, QueryFilter filter) {
  Response response;
  response.type = "text/csv; charset=utf-8; header=present";
  response.file_name = "queries.csv";
  response.body = "";
  auto walk = std::make_shared<Walk>(Walk{std::move(open), std::move(filter)});
  response.pieces = [walk](std::string& out) {
    if (std::exchange(walk->is_first, false)) out = "asked,name,outcome,server,microseconds\r\n";
    const std::vector<Query> rows = walk->Next();
    for (const Query& query : rows) out += CsvRow(query);
    return rows.size() == kRowsInPiece;
  };
  return response;
}

Response JsonExport(DatabaseAtHand open, QueryFilter filter) {
  Response response;
  response.type = "application/json";
  response.file_name = "queries.json";
  auto walk = std::make_shared<Walk>(Walk{std::move(open), std::move(filter)});
  response.pieces = [walk](std::string& out) {
    const std::vector<Query> rows = walk->Next();
    for (const Query& query : rows) {
      out += std::exchange(walk->is_first, false) ? "[\n" : ",\n";
      out += AsText(QueryDocument(query));
    }
    const bool has_more = rows.size() == kRowsInPiece;
    if (!has_more) out += walk->is_first ? "[]\n" : "\n]\n";
    return has_more;
  };
  return response;
}

}  // namespace page
