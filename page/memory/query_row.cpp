#include "page/memory/query_row.h"

#include "page/memory/variable_number.h"

namespace page {

ServerNames ReadServerNames(Database& database) {
  ServerNames names;
  Statement rows(database, "SELECT id, address FROM servers");
  while (rows.Step()) names[rows.Integer(0)] = rows.Text(1);
  return names;
}

std::string PackAttempts(const std::vector<Attempt>& attempts,
                         const std::vector<std::int64_t>& server_ids) {
  std::string bytes;
  for (std::size_t at = 0; at < attempts.size(); ++at) {
    const Attempt& attempt = attempts[at];
    AppendVariableNumber(static_cast<std::uint64_t>(server_ids[at]), bytes);
    AppendVariableNumber(static_cast<std::uint64_t>(attempt.reaction), bytes);
    const std::int64_t time = attempt.microseconds ? *attempt.microseconds + 1 : 0;
    AppendVariableNumber(static_cast<std::uint64_t>(time), bytes);
  }
  return bytes;
}

std::vector<Attempt> UnpackAttempts(std::string_view bytes, const ServerNames& servers) {
  std::vector<Attempt> attempts;
  std::uint64_t server = 0;
  std::uint64_t reaction = 0;
  std::uint64_t time = 0;
  while (TakeVariableNumber(bytes, server) && TakeVariableNumber(bytes, reaction) &&
         TakeVariableNumber(bytes, time)) {
    if (reaction > static_cast<std::uint64_t>(Reaction::kNotSent)) break;
    const auto found = servers.find(static_cast<std::int64_t>(server));
    Attempt attempt;
    if (found != servers.end()) attempt.server = found->second;
    attempt.reaction = static_cast<Reaction>(reaction);
    if (time > 0) attempt.microseconds = static_cast<std::int64_t>(time - 1);
    attempts.push_back(attempt);
  }
  return attempts;
}

}  // namespace page
