#include <algorithm>
#include <cstdint>
#include <functional>
#include <vector>

#include "common/configuration/address_text.h"
#include "common/configuration/findings.h"
#include "common/configuration/made_host_map.h"
#include "common/configuration/name_text.h"
#include "common/output/shown_text.h"

namespace ctl {
namespace {

// An entry and its place. `name` is the text under which it is filed.
struct Entry {
  std::size_t line;
  std::string_view raw;
  std::string_view name;
  const std::string* address;
};

// Which entry was the first to use a name. It reads memory once for each name; the standard hash
// map reads it three times and allocates. A check of a million names takes 0.61 s with this and
// 0.87 s with the map, and an edit or a start waits for that check.
class FirstUses {
 public:
  // For at most `most` names, fewer than four thousand million.
  explicit FirstUses(std::size_t most) {
    std::size_t slots = 16;
    while (slots < 2 * most) slots *= 2;
    slots_.resize(slots);
    uses_.reserve(most);
  }

  // The position given with the first use of `name`: `position` itself when this is the first.
  // `name` outlives the object.
  std::size_t PositionOf(std::string_view name, std::size_t position) {
    const std::size_t hash = std::hash<std::string_view>()(name);
    const auto mark = static_cast<std::uint32_t>(hash >> 32);
    for (std::size_t at = hash;; ++at) {
      Slot& slot = slots_[at & (slots_.size() - 1)];
      if (slot.use == 0) {
        uses_.push_back({name, position});
        slot = {mark, static_cast<std::uint32_t>(uses_.size())};
        return position;
      }
      const Use& first = uses_[slot.use - 1];
      if (slot.hash == mark && first.name == name) return first.position;
    }
  }

 private:
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t use = 0;  // 1 for the first of `uses_`; 0 when the slot is free
  };
  struct Use {
    std::string_view name;
    std::size_t position;
  };

  std::vector<Slot> slots_;  // a power of two of them, at most half in use
  std::vector<Use> uses_;
};

bool HasColon(const Entry& entry) { return entry.raw.find(':') != std::string_view::npos; }

bool IsAddress(std::string_view text) { return ReadAddress(std::string(text)).IsUsualForm(); }

// What separates the two halves of a line in place of a colon; empty when they are not a name and
// an address.
std::string WhatPartsInstead(std::string_view raw) {
  const std::size_t begin = std::min(raw.find_first_of(" \t=,;"), raw.size());
  const std::size_t end = std::min(raw.find_first_not_of(" \t=,;", begin), raw.size());
  const std::string_view front = raw.substr(0, begin);
  const std::size_t last = raw.find_last_not_of(" \t\r");
  const std::string_view behind = end < raw.size() ? raw.substr(end, last + 1 - end) : "";
  if (front.empty() || behind.empty() || IsAddress(front) == IsAddress(behind)) return "";
  if (raw.find('=') < end) return "an equals sign";
  if (raw.find(',') < end) return "a comma";
  if (raw.find(';') < end) return "a semicolon";
  return IsAddress(front) ? "as in a hosts file, a blank" : "a blank";
}

std::string WhatLacksColon(const Entry& entry) {
  const std::string parts = WhatPartsInstead(entry.raw);
  if (parts.empty()) return "there is no colon in " + Quoted(entry.raw);
  return parts + " parts the name from its address in " + Quoted(entry.raw) + ", and not a colon";
}

std::string WhatIsOdd(const Entry& entry, const NameReading& name) {
  if (entry.raw.empty()) return "an empty line";
  return name.is_name && !HasColon(entry) ? WhatLacksColon(entry) : name.what;
}

std::string Answered(std::string_view name, const AddressReading& address) {
  return Quoted(name) + " is answered with " + address.Dotted();
}

// Whether the line's first colon is one of an IPv6 address: what is in front of it is a group of
// hexadecimal digits, and what is behind it has a colon that does not separate an address from a
// port.
bool IsCutIpv6(const Entry& entry, const AddressReading& address) {
  const std::size_t colon = address.spelling.find(':');
  return entry.name.size() <= 4 &&
         entry.name.find_first_not_of("0123456789abcdef") == std::string_view::npos &&
         colon != std::string_view::npos &&
         !ReadAddress(std::string(address.spelling.substr(0, colon))).accepted;
}

std::string WhatIsNoAddress(const Entry& entry, const AddressReading& address) {
  if (!HasColon(entry)) return WhatLacksColon(entry);
  if (IsCutIpv6(entry, address)) {
    return "an IPv6 address is cut at its first colon in " + Quoted(entry.raw);
  }
  if (ReadAddress(std::string(entry.name)).IsUsualForm()) {
    return "name and address are the wrong way round in " + Quoted(entry.raw);
  }
  return WhatItIsInstead(entry.address->c_str());
}

void CheckAddress(const Entry& entry, Report& report) {
  const AddressReading address = ReadAddress(*entry.address);
  const std::string answered = Answered(entry.name, address);
  if (!address.accepted && address.spelling != "255.255.255.255") {
    report.Error(entry.line, WhatIsNoAddress(entry, address), answered);
    return;
  }
  if (!HasColon(entry)) {
    report.Warning(entry.line, WhatLacksColon(entry), answered);
    return;
  }
  if (!address.IsUsualForm()) {
    report.Warning(entry.line, Quoted(address.spelling) + " has " + OddForm(address.spelling),
                   answered);
  }
  if (address.HasMoreBehind()) {
    report.Warning(entry.line, "there is a blank behind the address in " + Quoted(entry.raw),
                   answered + ", what follows the address is passed over");
  }
}

// Whether the address is so plain that there is nothing to say about it; saves the full look for a
// million lines.
bool IsPlainAddress(const Entry& entry) {
  const AddressReading address = ReadAddress(*entry.address);
  return address.accepted && address.IsUsualForm() && !address.HasMoreBehind() && HasColon(entry);
}

void CheckEntry(const Entry& entry, const Entry& first, Report& report) {
  if (&first != &entry) {
    report.Warning(entry.line,
                   Quoted(entry.name) + " again, after line " + std::to_string(first.line),
                   "the first line stays: " + Answered(entry.name, ReadAddress(*first.address)));
  } else if (!IsPlainAddress(entry)) {
    CheckAddress(entry, report);
  }
}

// Each line has an entry, except for the lines that the proxy skips.
std::vector<Entry> LinedUp(const HostMapFileText& file) {
  std::vector<Entry> entries;
  entries.reserve(file.entries.size());
  for (std::size_t at = 0; at < file.text.lines.size(); ++at) {
    const std::string_view raw = file.text.lines[at];
    if (IsSkippedByProxy(raw)) continue;
    const auto& [domain, address] = file.entries[entries.size()];
    const std::string_view name = domain;
    entries.push_back({at + 1, raw, name.substr(0, name.find('\0')), &address});
  }
  return entries;
}

void CheckName(const Entry& entry, const NameReading& name, Report& report) {
  if (entry.raw.find('\0') != std::string_view::npos) {
    report.Warning(entry.line, "there is a NUL in " + Quoted(entry.raw),
                   "name and address each end at their first NUL");
  }
  if (name.reach != Reach::kFound) {
    report.Warning(entry.line, WhatIsOdd(entry, name), name.effect);
  }
}

}  // namespace

void CheckHostMap(const HostMapFileText& file, const MethodList& list, Report& report) {
  const CarriageReturns returns(file.text);
  if (returns.EndEveryLine(report)) return;
  const std::vector<Entry> entries = LinedUp(file);
  FirstUses first_uses(entries.size());
  std::size_t next = 0;
  for (std::size_t line = 1; line <= file.text.lines.size(); ++line) {
    returns.Check(line, report);
    if (line == 1 && TellsHowMade(file.text.lines[0])) continue;
    if (next == entries.size() || entries[next].line != line) {
      report.Warning(line, Quoted(file.text.lines[line - 1]) + " begins with a colon",
                     "the line is skipped");
      continue;
    }
    const Entry& entry = entries[next];
    const NameReading name = ReadName(entry.name, list.Circles());
    CheckName(entry, name, report);
    if (name.reach == Reach::kFound) {
      CheckEntry(entry, entries[first_uses.PositionOf(entry.name, next)], report);
    }
    ++next;
  }
}

}  // namespace ctl
