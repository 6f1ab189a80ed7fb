#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "page/memory/database.h"
#include "page/memory/query.h"

namespace page {

/// Servers by their row's number.
using ServerNames = std::map<std::int64_t, std::string>;
ServerNames ReadServerNames(Database& database);

/// The attempts of a query in a few bytes: server, reaction, and the time plus one or 0.
/// `server_ids` are theirs, in their order.
std::string PackAttempts(const std::vector<Attempt>& attempts,
                         const std::vector<std::int64_t>& server_ids);

/// Reads what `PackAttempts` made, as much of it as can be understood.
std::vector<Attempt> UnpackAttempts(std::string_view bytes, const ServerNames& servers);

}  // namespace page
