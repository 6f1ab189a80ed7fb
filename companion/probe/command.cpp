#include <arpa/inet.h>

#include <algorithm>
#include <cstdio>

#include "common/configuration/address_text.h"
#include "common/configuration/configuration_text.h"
#include "common/configuration/findings.h"
#include "common/output/exit_status.h"
#include "common/output/output.h"
#include "common/output/shown_text.h"
#include "companion/commands.h"
#include "companion/probe/dns_exchange.h"
#include "companion/probe/probe.h"
#include "dns_proxy_mac/state/ipv4_address.h"

namespace ctl {
namespace {

// "0.12 ms".
std::string InMilliseconds(double milliseconds) {
  char text[32];
  std::snprintf(text, sizeof(text), "%.2f ms", milliseconds);
  return text;
}

// Whether the configured list is long enough for reverse names to be sent to a server.
bool ServersAnswerReverseNames() {
  SilenceTrace();
  ServerFileText servers;
  HostMapFileText host_map;
  ReadServers(kServerFile, servers);
  ReadHostMap(kHostMapFile, host_map);
  return MethodList{servers.servers.size(), !host_map.entries.empty()}.ReachesReverseNames();
}

ProbeResult Judge(const Exchange& exchange) {
  const std::string answered = "answered in " + InMilliseconds(exchange.milliseconds());
  if (IsProxysNoSuchName(exchange.query(), exchange.answer())) return {true, answered};
  if (ServersAnswerReverseNames()) {
    return {true, answered + ", by a server: there are enough of them for reverse names"};
  }
  return {false, answered + ", but not in the proxy's words: another program has the port"};
}

constexpr std::size_t kAskedAtOnce = 200;  // sockets; descriptors are often limited to 256

constexpr char kCircles[] = "it is the proxy itself: queries that come to it circle for ever";
constexpr char kWaits[] = ": queries that come to it wait until it answers";
constexpr char kDrops[] = ": queries that come to it are dropped";

struct Outcome {
  bool answered;
  std::string words;
};

void PrintLine(std::size_t number, const std::string& address, const Outcome& outcome) {
  char start[64];
  std::snprintf(start, sizeof(start), "server %zu  %-15s  ", number, address.c_str());
  Print(start + outcome.words + '\n');
}

Outcome Judge(const Exchange& exchange, int timeout_ms) {
  switch (exchange.state()) {
    case ExchangeState::kAnswered:
      return {true, "answered in " + InMilliseconds(exchange.milliseconds()) + " (" +
                        InWords(exchange.answer()) + ")"};
    case ExchangeState::kNobodyThere:
      return {false, std::string("nobody listens there") + kWaits};
    case ExchangeState::kFailed:
      return {false, "can't be asked (" + exchange.reason() + ")" + kDrops};
    case ExchangeState::kWaiting:
      break;
  }
  return {false, "no answer within " + std::to_string(timeout_ms) + " ms" + kWaits};
}

// Why a server is not to be asked; empty when it is.
std::string WhyNotAsked(const AddressReading& address) {
  if (!address.accepted) return std::string("no address") + kDrops;
  const in_addr_t number = address.address.s_addr;
  const bool itself = number == htonl(INADDR_LOOPBACK) || number == htonl(INADDR_ANY);
  return itself ? kCircles : "";
}

// Asks servers `begin` to `end` of the list. How many did not answer.
std::size_t AskSome(const ServerList& servers, std::size_t begin, std::size_t end, int timeout_ms) {
  Exchanges exchanges;
  std::vector<Exchange*> asked;  // one per server, null where it is not to be asked
  for (std::size_t at = begin; at < end; ++at) {
    Exchange* exchange = nullptr;
    if (WhyNotAsked(ReadAddress(servers[at])).empty()) {
      const sockaddr_in to = MakeIpv4Address(servers[at].c_str(), kDnsPort);
      exchange = exchanges.emplace_back(std::make_unique<Exchange>(to)).get();
    }
    asked.push_back(exchange);
  }
  WaitForAnswers(exchanges, timeout_ms);

  std::size_t without_answer = 0;
  for (std::size_t at = begin; at < end; ++at) {
    const AddressReading address = ReadAddress(servers[at]);
    const Exchange* exchange = asked[at - begin];
    const Outcome outcome =
        exchange == nullptr ? Outcome{false, WhyNotAsked(address)} : Judge(*exchange, timeout_ms);
    PrintLine(at + 1, address.Dotted(), outcome);
    if (!outcome.answered) ++without_answer;
  }
  return without_answer;
}

}  // namespace

ProbeResult ProbeProxy(int timeout_ms) {
  Exchanges exchanges;
  exchanges.push_back(std::make_unique<Exchange>(MakeIpv4Address("127.0.0.1", kDnsPort)));
  WaitForAnswers(exchanges, timeout_ms);
  const Exchange& exchange = *exchanges.front();
  switch (exchange.state()) {
    case ExchangeState::kAnswered:
      return Judge(exchange);
    case ExchangeState::kNobodyThere:
      return {false, "nobody listens there"};
    case ExchangeState::kFailed:
      return {false, "could not be asked: " + exchange.reason()};
    case ExchangeState::kWaiting:
      break;
  }
  return {false, "no answer within " + std::to_string(timeout_ms) + " ms"};
}

int ProbeUpstreams(int timeout_ms) {
  SilenceTrace();
  ServerFileText file;
  ReadServers(kServerFile, file);
  const std::string path = kServerFile;
  if (!IsReadByProxy(file.text)) {
    Complain(path + ": " + file.text.reason + '.');
    return kError;
  }
  if (file.servers.empty()) {
    Print("there is no server in " + path + '\n');
    return kNo;
  }
  std::size_t without_answer = 0;
  for (std::size_t at = 0; at < file.servers.size(); at += kAskedAtOnce) {
    const std::size_t end = std::min(at + kAskedAtOnce, file.servers.size());
    without_answer += AskSome(file.servers, at, end, timeout_ms);
  }
  return without_answer == 0 ? kOk : kNo;
}

int RunProbe(const ProbeOptions& options) {
  if (options.upstreams) return ProbeUpstreams(options.timeout_ms);
  const ProbeResult result = ProbeProxy(options.timeout_ms);
  Print("127.0.0.1:53  " + result.words + '\n');
  return result.is_well ? kOk : kNo;
}

}  // namespace ctl
