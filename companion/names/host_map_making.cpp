#include "companion/names/host_map_making.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <utility>

#include "common/configuration/made_host_map.h"
#include "companion/names/all_names.h"

namespace ctl {
namespace {

constexpr std::size_t kChecksumDigits = 16;
constexpr std::size_t kMarkedLine = kMadeHostMapMark.size() + kChecksumDigits + 1;

// FNV-1a: it notices edits by hand, and is no defence against forgery.
std::string ChecksumOf(std::string_view text) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char character : text) {
    hash = (hash ^ static_cast<unsigned char>(character)) * 0x100000001b3;
  }
  char digits[kChecksumDigits + 1];
  static_cast<void>(
      std::snprintf(digits, sizeof(digits), "%016llx", static_cast<unsigned long long>(hash)));
  return digits;
}

std::string WhyItStays(HostMapAuthor author, const NamesPlaces& places) {
  const std::string way_out =
      ": it is left as it is; 'dns_proxy_ctl name import' takes its lines over into " +
      places.names;
  switch (author) {
    case HostMapAuthor::kUs:
      return "";
    case HostMapAuthor::kEditedSince:
      return places.host_map + " was edited by hand after it was made from names" + way_out;
    case HostMapAuthor::kPeople:
      return places.host_map + " is written by hand" + way_out;
  }
  return "";
}

// Why the existing host map may not be replaced; empty when it may be.
std::string ReasonToKeep(const NamesPlaces& places, bool may_take_over, std::string& present) {
  bool is_missing = false;
  const std::string problem = ReadTextFile(places.host_map, present, is_missing);
  if (is_missing) return "";
  if (!problem.empty()) return places.host_map + ": " + problem + "; it is left as it is";
  return may_take_over ? "" : WhyItStays(AuthorOf(present), places);
}

}  // namespace

std::string HostMapOf(std::string_view pairs) {
  std::string text;
  text.reserve(kMarkedLine + pairs.size());
  return text.append(kMadeHostMapMark).append(ChecksumOf(pairs)).append(1, '\n').append(pairs);
}

HostMapAuthor AuthorOf(std::string_view host_map) {
  if (host_map == kSampleHostMap) return HostMapAuthor::kUs;
  if (!TellsHowMade(host_map)) return HostMapAuthor::kPeople;
  const std::string_view checksum = host_map.substr(kMadeHostMapMark.size(), kChecksumDigits);
  return ChecksumOf(PairsOf(host_map)) == checksum ? HostMapAuthor::kUs
                                                   : HostMapAuthor::kEditedSince;
}

std::string_view PairsOf(std::string_view host_map) {
  if (!TellsHowMade(host_map)) return host_map;
  return host_map.substr(std::min(kMarkedLine, host_map.size()));
}

Renewal RenewHostMap(const NamesPlaces& places, bool may_take_over,
                     std::vector<std::string>& sentences) {
  std::string pairs;
  NamesRemarks names = ForEachName(places, [&pairs](const NamedAddress& named) {
    if (named.standing != Standing::kCounts) return;
    pairs.append(named.name).append(1, ':').append(named.address).append(1, '\n');
  });
  if (names.problem.empty() && names.is_without_sources) return Renewal::kNoSources;
  sentences = std::move(names.remarks);
  std::string present;
  if (names.problem.empty()) names.problem = ReasonToKeep(places, may_take_over, present);
  if (names.problem.empty()) {
    const std::string made = HostMapOf(pairs);
    if (made == present) return Renewal::kUnchanged;
    names.problem = WriteTextFile(places.host_map, made);
    if (names.problem.empty()) return Renewal::kWritten;
    names.problem.insert(0, places.host_map + ": ");
  }
  sentences.push_back(names.problem + '.');
  return Renewal::kRefused;
}

}  // namespace ctl
