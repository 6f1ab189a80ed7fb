#include "page/memory/query.h"

#include <string_view>

namespace page {
namespace {

constexpr std::array<const char*, kOutcomes> kOutcomeKeys = {"host_map", "answered", "no_such_name",
                                                             "lost"};
constexpr std::array<const char*, 4> kReactionKeys = {"answered", "empty", "silent", "not_sent"};

}  // namespace

const char* KeyOf(Outcome outcome) { return kOutcomeKeys[static_cast<std::size_t>(outcome)]; }

const char* KeyOf(Reaction reaction) { return kReactionKeys[static_cast<std::size_t>(reaction)]; }

std::optional<Outcome> OutcomeOf(std::string_view key) {
  for (std::size_t at = 0; at < kOutcomes; ++at) {
    if (key == kOutcomeKeys[at]) return static_cast<Outcome>(at);
  }
  return std::nullopt;
}

std::string LowerCase(std::string name) {
  for (char& character : name) {
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character - 'A' + 'a');
  }
  return name;
}

const std::string& Query::Server() const {
  static const std::string kNone;
  const bool is_a_servers = outcome == Outcome::kAnswered || outcome == Outcome::kLost;
  return attempts.empty() || !is_a_servers ? kNone : attempts.back().server;
}

}  // namespace page
