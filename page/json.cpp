#include "page/json.h"

// Here alone, because a compiler takes seconds for either.

namespace page {

std::string AsText(const Json& document) {
  return document.dump(-1, ' ', true, Json::error_handler_t::replace);
}

Json FromText(std::string_view text, int most_levels) {
  const auto is_flat = [most_levels](int level, Json::parse_event_t, Json&) {
    return level < most_levels;
  };
  return Json::parse(text, is_flat, false);
}

}  // namespace page
