#include "common/configuration/server_findings.h"

#include <unordered_map>

#include "common/configuration/address_text.h"
#include "common/configuration/carriage_returns.h"
#include "common/output/shown_text.h"

namespace ctl {
namespace {

constexpr char kDropped[] =
    "a query that comes to it is dropped: its application gets no answer, and no later server is "
    "asked";

using FirstLines = std::unordered_map<in_addr_t, std::size_t>;

// The proxy listens on the one; the system delivers the other to the same socket.
bool IsProxyItself(in_addr address) {
  return address.s_addr == htonl(INADDR_LOOPBACK) || address.s_addr == htonl(INADDR_ANY);
}

std::string WhatIsNoServer(const std::string& entry) {
  if (entry.empty()) return "an empty line";
  if (entry.front() == '#' || entry.front() == ';') {
    return Quoted(entry) + " looks like a comment, and the file has none";
  }
  return WhatItIsInstead(entry);
}

void CheckSpelling(std::size_t line, std::string_view raw, const AddressReading& reading,
                   Report& report) {
  const std::string asked = "the proxy asks " + reading.Dotted();
  if (!reading.IsUsualForm()) {
    report.Warning(line, Quoted(reading.spelling) + " has " + OddForm(reading.spelling), asked);
  }
  if (raw.find('\0') != std::string_view::npos) {
    report.Warning(line, "there is a NUL in " + Quoted(raw), asked + ": the line ends at the NUL");
  }
  if (reading.HasMoreBehind()) {
    report.Warning(line, "there is a blank behind the address in " + Quoted(raw),
                   asked + " and passes over what follows the address");
  }
}

void CheckServer(std::size_t line, std::string_view raw, const std::string& entry,
                 FirstLines& first_lines, Report& report) {
  const AddressReading reading = ReadAddress(entry);
  if (!reading.accepted) {
    report.Error(line, WhatIsNoServer(entry), kDropped);
    return;
  }
  CheckSpelling(line, raw, reading, report);
  if (IsProxyItself(reading.address)) {
    report.Error(line, reading.Dotted() + " is the proxy itself",
                 "a query that comes to it is taken for a new one, and circles for ever");
    return;
  }
  if (IN_MULTICAST(ntohl(reading.address.s_addr))) {
    report.Error(line, reading.Dotted() + " is a multicast address",
                 "a query that comes to it is never answered");
    return;
  }
  const auto [first, is_new] = first_lines.insert({reading.address.s_addr, line});
  if (!is_new) {
    report.Warning(line, reading.Dotted() + " again, after line " + std::to_string(first->second),
                   "a query that this server had no answer for is sent to it once more");
  }
}

}  // namespace

void CheckServers(const ServerFileText& file, Report& report) {
  const CarriageReturns returns(file.text);
  FirstLines first_lines;
  for (std::size_t at = 0; at < file.servers.size(); ++at) {
    returns.Check(at + 1, report);
    CheckServer(at + 1, file.text.lines[at], file.servers[at], first_lines, report);
  }
}

}  // namespace ctl
