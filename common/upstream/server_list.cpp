#include "common/upstream/server_list.h"

#include <algorithm>

#include "common/upstream/places.h"
#include "common/upstream/text_lines.h"

namespace upstream {
namespace {

constexpr std::string_view kNetwork = "network";
constexpr std::size_t kMostShownCharacters = 60;

std::string Shown(std::string_view word) {
  const bool is_cut = word.size() > kMostShownCharacters;
  return '"' + std::string(word.substr(0, kMostShownCharacters)) + (is_cut ? "...\"" : "\"");
}

// Takes the words of a line into `entry`; why they are none, as a clause, or nothing.
std::string ReadEntry(const std::vector<std::string_view>& words, ServerList::Entry& entry) {
  if (words.size() > 1) return "more than one word: " + Shown(words[1]);
  entry.is_network = words[0] == kNetwork;
  if (entry.is_network) return "";
  const auto address = ReadAddress(words[0]);
  if (!address) return Shown(words[0]) + " is neither an address nor \"network\"";
  entry.address = *address;
  if (IsOwn(*address)) {
    return Shown(words[0]) + " is this program or the proxy, which would ask itself";
  }
  return CanBeAsked(*address) ? "" : Shown(words[0]) + " is no address of a server";
}

}  // namespace

bool ServerList::NamesNetwork() const {
  return std::any_of(entries.begin(), entries.end(),
                     [](const Entry& entry) { return entry.is_network; });
}

ServerList ReadServerList(std::string_view text) {
  if (!IsText(text)) return {{}, "It holds something other than text."};
  ServerList list;
  std::size_t number = 0;
  for (const std::string_view line : Lines(text)) {
    ++number;
    const auto words = Words(line.substr(0, line.find('#')));
    if (words.empty()) continue;
    const std::string objection = ReadEntry(words, list.entries.emplace_back());
    if (!objection.empty()) return {{}, "Line " + std::to_string(number) + ": " + objection + "."};
  }
  if (list.entries.empty()) list.complaint = "It names no server.";
  return list;
}

std::vector<ServerAddress> Servers(const ServerList& list,
                                   const std::vector<ServerAddress>& network) {
  std::vector<ServerAddress> servers;
  const auto add = [&servers](const ServerAddress& address) {
    if (servers.size() < kMostServers &&
        std::find(servers.begin(), servers.end(), address) == servers.end()) {
      servers.push_back(address);
    }
  };
  for (const ServerList::Entry& entry : list.entries) {
    if (entry.is_network) {
      std::for_each(network.begin(), network.end(), add);
    } else {
      add(entry.address);
    }
  }
  return servers;
}

}  // namespace upstream
