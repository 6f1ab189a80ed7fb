#pragma once

#include <optional>

#include "common/upstream/state_text.h"

namespace upstream {

/// What a running dns_proxy_upstream tells of itself; nothing when none runs on this host.
std::optional<State> CurrentState();

/// "alive", "silent" or, for a place without a server, "no server".
const char* HealthInWords(const ServerState& server);

}  // namespace upstream
