#include "common/upstream/current_state.h"

#include <signal.h>  // NOLINT(modernize-deprecated-headers): kill is the system's

#include <cerrno>

#include "common/upstream/places.h"
#include "common/upstream/text_lines.h"

namespace upstream {

std::optional<State> CurrentState() {
  const auto text = ReadFile(kStateFile);
  if (!text) return std::nullopt;
  std::optional<State> state = ReadState(*text);
  if (!state) return std::nullopt;
  // The file of a program that was killed is left behind.
  const bool runs =
      state->process > 0 && (kill(static_cast<pid_t>(state->process), 0) == 0 || errno == EPERM);
  return runs ? state : std::nullopt;
}

const char* HealthInWords(const ServerState& server) {
  if (server.address.empty()) return "no server";
  return server.silent ? "silent" : "alive";
}

}  // namespace upstream
