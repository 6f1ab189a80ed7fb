#include <unordered_map>

#include "common/configuration/address_text.h"
#include "common/configuration/findings.h"
#include "common/output/shown_text.h"
#include "common/platform/process_table.h"
#include "dns_proxy_mac/state/dns_request.h"

namespace ctl {
namespace {

constexpr char kDropped[] =
    "a query that comes to it is dropped: its application gets no answer, and no later server is "
    "asked";

using FirstLines = std::unordered_map<in_addr_t, std::size_t>;

bool IsProxyItself(in_addr address) {
  // The proxy listens on the first; the system delivers what is sent to the second to the same
  // socket.
  return address.s_addr == htonl(INADDR_LOOPBACK) || address.s_addr == htonl(INADDR_ANY);
}

// Which addresses are this host's own without anybody who listens: each is looked up once, however
// many lines have it.
class OwnAddresses {
 public:
  bool IsOwnAndNobodyListens(in_addr address) {
    const auto [known, is_new] = known_.insert({address.s_addr, false});
    if (is_new) known->second = IsOwnAddress(address) && !SomebodyListens(address);
    return known->second;
  }

 private:
  std::unordered_map<in_addr_t, bool> known_;
};

bool IsLinkLocal(in_addr address) { return ntohl(address.s_addr) >> 16 == 0xA9FE; }

// Errors and warnings about an address where no server can be, or none is. False when nothing else
// should be said about it.
bool CheckPlace(std::size_t line, const AddressReading& reading, OwnAddresses& own,
                Report& report) {
  const in_addr address = reading.address;
  const std::string dotted = reading.Dotted();
  constexpr char kLost[] = "a query that comes to it is dropped or never answered";
  if (IsProxyItself(address)) {
    report.Obstacle(line, dotted + " is the proxy itself",
                    "a query that comes to it is taken for a new one, and circles for ever");
    return false;
  }
  if (IN_MULTICAST(ntohl(address.s_addr))) {
    report.Error(line, dotted + " is a multicast address",
                 "a query that comes to it is never answered");
    return false;
  }
  if (ntohl(address.s_addr) >> 24 == 0 || IN_BADCLASS(ntohl(address.s_addr))) {
    report.Error(line, dotted + " is in a range in which there are no hosts", kLost);
    return false;
  }
  if (IsLinkLocal(address)) {
    report.Warning(line, dotted + " is a link-local address",
                   "unless a server on the same link has it, " + std::string(kLost));
  } else if (own.IsOwnAndNobodyListens(address)) {
    report.Warning(line, dotted + " is an address of this host, and nobody listens at its port 53",
                   "as long as it is so, a query that comes to it is never answered");
  }
  return true;
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
                 FirstLines& first_lines, OwnAddresses& own, Report& report) {
  const AddressReading reading = ReadAddress(entry);
  if (!reading.accepted) {
    report.Error(line, WhatIsNoServer(entry), kDropped);
    return;
  }
  CheckSpelling(line, raw, reading, report);
  if (!CheckPlace(line, reading, own, report)) return;
  const auto [first, is_new] = first_lines.insert({reading.address.s_addr, line});
  if (!is_new) {
    report.Warning(line, reading.Dotted() + " again, after line " + std::to_string(first->second),
                   "a query that this server had no answer for is sent to it once more");
  }
}

constexpr std::size_t kPositions = 256;  // a query's position in the list is kept in 8 bits
constexpr std::size_t kLengths = 65536;  // the list's length is kept in 16 bits

std::string HowLong(const MethodList& list) {
  return Grouped(list.Length()) + " resolution methods" +
         (list.has_host_map ? " (the host map is one)" : "");
}

}  // namespace

void CheckServers(const ServerFileText& file, Report& report) {
  const CarriageReturns returns(file.text);
  if (returns.EndEveryLine(report)) return;
  FirstLines first_lines;
  OwnAddresses own;
  for (std::size_t at = 0; at < file.servers.size(); ++at) {
    returns.Check(at + 1, report);
    CheckServer(at + 1, file.text.lines[at], file.servers[at], first_lines, own, report);
  }
}

bool MethodList::ReachesReverseNames() const { return LengthAsSeen() > kReverseLookupMethodIndex; }

bool MethodList::Circles() const { return LengthAsSeen() >= kPositions; }

void CheckMethodList(const MethodList& list, Report& report) {
  if (list.Length() == 0) {
    report.Obstacle(0, "neither file holds an entry",
                    "the proxy ends at once, with exit status 0, and nobody is served");
    return;
  }
  if (list.servers == 0) {
    report.Warning(0, "there is no server",
                   "every name that the host map does not hold is answered \"no such name\"");
  }
  if (list.ReachesReverseNames()) {
    report.Warning(list.ServerLine(kReverseLookupMethodIndex), HowLong(list),
                   "reverse names (.in-addr.arpa) are sent to this server first, instead of being "
                   "answered \"no such name\" at once");
  }
  if (list.Circles()) {
    report.Obstacle(list.ServerLine(kPositions - 1), HowLong(list),
                    "the position in the list wraps behind this server: a query that nobody has an "
                    "answer for circles for ever, and no server after it is asked");
  }
  if (list.Length() >= kLengths) {
    report.Obstacle(list.ServerLine(kLengths - 1), HowLong(list),
                    "the length is kept in 16 bits: every query takes the list to hold " +
                        Counted(list.LengthAsSeen(), "method"));
  }
}

}  // namespace ctl
