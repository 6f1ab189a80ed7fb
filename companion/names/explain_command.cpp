#include <cstdio>
#include <memory>
#include <optional>

#include "common/configuration/address_text.h"
#include "common/configuration/configuration_text.h"
#include "common/output/exit_status.h"
#include "common/output/output.h"
#include "common/output/shown_text.h"
#include "companion/commands.h"
#include "companion/names/all_names.h"
#include "companion/names/written_name.h"
#include "companion/probe/dns_exchange.h"
#include "dns_proxy_mac/state/dns_method_info.h"
#include "dns_proxy_mac/state/host_table.h"

namespace ctl {
namespace {

struct Mapped {
  std::size_t line;
  std::string address;
};

std::string InMilliseconds(double milliseconds) {
  char text[32];
  static_cast<void>(std::snprintf(text, sizeof(text), "%.2f ms", milliseconds));
  return text;
}

// The line of the host map that answers for the name: the first one that has it.
std::optional<Mapped> FindInHostMap(const HostMapFileText& file, const std::string& name) {
  auto entry = file.entries.begin();
  for (std::size_t line = 1; line <= file.text.lines.size(); ++line) {
    if (IsSkippedByProxy(file.text.lines[line - 1])) continue;
    const char* mapped = entry->first.c_str();  // as the proxy has it: up to a NUL
    if (mapped == name) return Mapped{line, ReadAddress(entry->second).Dotted()};
    ++entry;
  }
  return std::nullopt;
}

void ExplainHostMap(const std::string& name) {
  SilenceTrace();
  HostMapFileText host_map;
  ServerFileText servers;
  ReadHostMap(kHostMapFile, host_map);
  ReadServers(kServerFile, servers);
  if (const std::optional<Mapped> mapped = FindInHostMap(host_map, name)) {
    Print(name + " is answered with " + mapped->address + ": line " + Grouped(mapped->line) +
          " of " + kHostMapFile + ".\n");
    return;
  }
  const std::size_t count = servers.servers.size();
  Print(name + " is not in the host map: " +
        (count == 0 ? "there is no server to ask, so it is answered \"no such name\""
                    : Counted(count, "server") + " of " + kServerFile +
                          (count == 1 ? " is asked" : " are asked, one after the other")) +
        ".\n");
}

std::string StandingInWords(Standing standing) {
  switch (standing) {
    case Standing::kCounts:
      return "";
    case Standing::kLaterLine:
      return ", which does not count: an earlier line has the name";
    case Standing::kNeverListed:
      return ", which does not count: the name is never listed";
  }
  return "";
}

// Which lines of the people's files have the name.
int ExplainNames(const std::string& name) {
  const NamesRemarks names = ForEachName(NamesPlaces(), [&name](const NamedAddress& named) {
    if (named.name != name) return;
    Print(Shown(named.path) + ':' + std::to_string(named.line) + " gives it " +
          std::string(named.address) + StandingInWords(named.standing) + ".\n");
  });
  if (names.problem.empty()) return kOk;
  Complain(names.problem + '.');
  return kError;
}

std::string AnswerInWords(const Exchange& exchange) {
  const std::string& answer = exchange.answer();
  const std::size_t asked = exchange.query().bytes.size();
  if (answer.size() != asked + kAnswerRecordSize) return InWords(std::string_view(answer));
  std::string address;
  for (std::size_t at = answer.size() - kAnswerAddressSize; at < answer.size(); ++at) {
    address += std::to_string(static_cast<unsigned char>(answer[at])) + '.';
  }
  address.pop_back();
  return address;
}

void AskProxy(const std::string& name) {
  Exchanges exchanges;
  exchanges.push_back(
      std::make_unique<Exchange>(MakeIpv4Address("127.0.0.1", kDnsPort), ProbeQuery(name)));
  WaitForAnswers(exchanges, kUsualTimeoutMs);
  const Exchange& exchange = *exchanges.front();
  switch (exchange.state()) {
    case ExchangeState::kAnswered:
      Print("Asked now, 127.0.0.1:53 says " + AnswerInWords(exchange) + " in " +
            InMilliseconds(exchange.milliseconds()) + ".\n");
      return;
    case ExchangeState::kWaiting:
      Print("Asked now, 127.0.0.1:53 says nothing for a second.\n");
      return;
    case ExchangeState::kNobodyThere:
      Print("Nobody serves on 127.0.0.1:53 now.\n");
      return;
    case ExchangeState::kFailed:
      Print("127.0.0.1:53 can't be asked now: " + exchange.reason() + ".\n");
  }
}

}  // namespace

int RunNameExplain(const std::string& written) {
  const WrittenName name = ReadWrittenName(written);
  if (!name.problem.empty()) {
    Print("The host map never answers it: " + name.problem + ".\n");
    return kNo;
  }
  ExplainHostMap(name.name);
  const int status = ExplainNames(name.name);
  AskProxy(name.name);
  return status;
}

}  // namespace ctl
