#include "companion/host/resolver_text.h"

#include <algorithm>

#include "common/upstream/server_address.h"
#include "common/upstream/text_lines.h"

namespace ctl {
namespace {

constexpr std::string_view kProxy = "127.0.0.1";

// With edns0 the C library refuses what the host map answers, with use-vc it asks over TCP. With
// trust-ad it would believe what the proxy passes on to have been validated on this host.
bool IsInTheWay(std::string_view option) {
  return option == "edns0" || option == "use-vc" || option == "trust-ad";
}

std::vector<std::string_view> ServersIn(std::string_view text) {
  std::vector<std::string_view> servers;
  for (const std::string_view line : upstream::Lines(text)) {
    const auto words = upstream::Words(line);
    if (words.size() > 1 && words[0] == "nameserver") servers.push_back(words[1]);
  }
  return servers;
}

std::string OptionsLine(const std::vector<std::string_view>& words) {
  std::string line;
  for (std::size_t i = 1; i < words.size(); ++i) {
    if (!IsInTheWay(words[i])) line += ' ' + std::string(words[i]);
  }
  return line.empty() ? "" : "options" + line + '\n';
}

}  // namespace

std::string ResolverTextFor(std::string_view before) {
  std::string text(kMark);
  text += " puts back what was here.\nnameserver " + std::string(kProxy) + '\n';
  for (const std::string_view line : upstream::Lines(before)) {
    const auto words = upstream::Words(line);
    if (words.empty()) continue;
    if (words[0] == "options") text += OptionsLine(words);
    if (words[0] == "search" || words[0] == "domain" || words[0] == "sortlist") {
      text += std::string(line) + '\n';
    }
  }
  return text;
}

std::vector<std::string> NetworkServersIn(std::string_view text) {
  std::vector<std::string> servers;
  for (const std::string_view server : ServersIn(text)) {
    const auto address = upstream::ReadAddress(server);
    if (address && !upstream::IsLoopback(*address)) servers.emplace_back(server);
  }
  return servers;
}

bool AsksProxy(std::string_view text) {
  const auto servers = ServersIn(text);
  return !servers.empty() && servers.front() == kProxy;
}

}  // namespace ctl
