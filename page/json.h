#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace page {

/// The members of an object keep their order.
using Json = nlohmann::ordered_json;

/// Without blanks, in ASCII. Any byte that is not text stands as a replacement character.
std::string AsText(const Json& document);

/// What `text` says, without what lies `most_levels` deep or deeper; discarded when it is no JSON.
Json FromText(std::string_view text, int most_levels);

}  // namespace page
