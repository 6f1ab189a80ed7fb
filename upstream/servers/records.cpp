#include "upstream/servers/records.h"

#include <cstdlib>
#include <map>
#include <string>

#include "common/upstream/text_lines.h"

namespace upstream {
namespace {

// Turns words into addresses. With a word that is no address the record has an unknown form.
void Take(const std::vector<std::string_view>& words, std::size_t first, Record& record) {
  for (std::size_t i = first; i < words.size(); ++i) {
    // systemd writes ADDRESS#NAME; a link-local address of an interface that has gone is none.
    const std::string_view text = words[i].substr(0, words[i].find('#'));
    const auto address = ReadAddress(text);
    if (address) {
      record.servers.push_back(*address);
    } else if (text.find('%') == std::string_view::npos) {
      record.is_understood = false;
    }
  }
}

// "4 2026/11/22 10:00:00", "epoch 1794996000" with a comment behind it, or "never".
bool HasRunOut(const std::vector<std::string_view>& expire, std::time_t now) {
  const auto number = [](std::string_view text) {
    return std::strtoll(std::string(text).c_str(), nullptr, 10);
  };
  if (expire.size() >= 2 && expire[0] == "epoch") return number(expire[1]) < now;
  if (expire.size() < 3) return false;
  std::tm time{};
  const std::string text = std::string(expire[1]) + ' ' + std::string(expire[2]);
  if (strptime(text.c_str(), "%Y/%m/%d %H:%M:%S", &time) == nullptr) return false;
  return timegm(&time) < now;
}

struct Lease {
  std::string interface;
  Record record;
  bool has_run_out = false;
};

void ReadLeaseLine(const std::vector<std::string_view>& words, std::time_t now, Lease& lease) {
  if (words[0] == "interface" && words.size() > 1) lease.interface = words[1];
  if (words[0] == "expire") lease.has_run_out = HasRunOut({words.begin() + 1, words.end()}, now);
  if (words[0] == "option" && words.size() > 2 &&
      (words[1] == "domain-name-servers" || words[1] == "dhcp6.name-servers")) {
    Take(words, 2, lease.record);
  }
}

}  // namespace

Record ReadResolverFile(std::string_view text) {
  Record record;
  record.is_understood = IsText(text);
  if (!record.is_understood) return record;
  for (const std::string_view line : Lines(text)) {
    const auto words = Words(line);
    if (words.size() > 1 && words[0] == "nameserver") Take({words[1]}, 0, record);
  }
  return record;
}

Record ReadAssignments(std::string_view text) {
  constexpr std::string_view kServers = "DNS=";
  Record record;
  record.is_understood = IsText(text);
  if (!record.is_understood) return record;
  for (const std::string_view line : Lines(text)) {
    if (line.substr(0, kServers.size()) == kServers)
      Take(Words(line.substr(kServers.size())), 0, record);
  }
  return record;
}

Record ReadLeases(std::string_view text, std::time_t now) {
  Record all;
  all.is_understood = IsText(text);
  if (!all.is_understood) return all;
  std::map<std::string, Lease> last;
  Lease lease;
  for (const std::string_view line : Lines(text)) {
    const auto words = Words(line, "\";,");
    if (words.empty()) continue;
    if (words[0] == "lease" || words[0] == "lease6") lease = {};
    // The blocks within an IPv6 lease are indented.
    if (line[0] == '}') last[lease.interface] = lease;
    ReadLeaseLine(words, now, lease);
  }
  for (const auto& [interface, kept] : last) {
    if (kept.has_run_out) continue;
    all.is_understood = all.is_understood && kept.record.is_understood;
    all.servers.insert(all.servers.end(), kept.record.servers.begin(), kept.record.servers.end());
  }
  return all;
}

Record ReadDictionaries(std::string_view text) {
  Record record;
  record.is_understood = IsText(text);
  if (!record.is_understood) return record;
  bool is_within = false;
  for (const std::string_view line : Lines(text)) {
    const auto words = Words(line);
    if (words.empty()) continue;
    if (words[0] == "ServerAddresses") {
      is_within = true;
    } else if (words[0] == "}") {
      is_within = false;
    } else if (is_within && words.size() == 3 && words[1] == ":") {
      Take({words[2]}, 0, record);
    }
  }
  return record;
}

}  // namespace upstream
