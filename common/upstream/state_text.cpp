#include "common/upstream/state_text.h"

#include <sstream>

namespace upstream {
namespace {

constexpr std::string_view kNone = "none";
constexpr std::string_view kEnd = "end";

bool ReadServer(std::istream& words, ServerState& server) {
  std::string health;
  if (!(words >> server.listens >> server.address >> health >> server.since >> server.queries >>
        server.answered >> server.unanswered >> server.retries >> server.truncations >>
        server.median_microseconds >> server.slow_microseconds)) {
    return false;
  }
  if (server.address == kNone) server.address.clear();
  server.silent = health == "silent";
  return server.silent || health == "alive";
}

}  // namespace

std::string StateText(const State& state) {
  std::ostringstream text;
  text << "process " << state.process << '\n';
  for (const ServerState& server : state.servers) {
    text << "server " << server.listens << ' '
         << (server.address.empty() ? kNone : std::string_view(server.address))
         << (server.silent ? " silent " : " alive ") << server.since << ' ' << server.queries << ' '
         << server.answered << ' ' << server.unanswered << ' ' << server.retries << ' '
         << server.truncations << ' ' << server.median_microseconds << ' '
         << server.slow_microseconds << '\n';
  }
  text << kEnd << '\n';
  return text.str();
}

std::optional<State> ReadState(std::string_view text) {
  std::istringstream words{std::string(text)};
  State state;
  std::string kind;
  if (!(words >> kind) || kind != "process" || !(words >> state.process)) return std::nullopt;
  while (words >> kind && kind == "server") {
    ServerState server;
    if (!ReadServer(words, server)) return std::nullopt;
    state.servers.push_back(server);
  }
  if (kind != kEnd) return std::nullopt;
  return state;
}

}  // namespace upstream
