#include <arpa/inet.h>

#include <algorithm>
#include <cstdio>

#include "common/configuration/address_text.h"
#include "common/configuration/configuration_text.h"
#include "common/configuration/findings.h"
#include "common/output/exit_status.h"
#include "common/output/output.h"
#include "common/output/shown_text.h"
#include "common/upstream/current_state.h"
#include "companion/commands.h"
#include "companion/probe/dns_exchange.h"
#include "companion/probe/probe.h"
#include "dns_proxy_mac/state/dns_method_info.h"

namespace ctl {
namespace {

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

ServerState StateOf(const Exchange& exchange) {
  switch (exchange.state()) {
    case ExchangeState::kAnswered:
      return ServerState::kAnswers;
    case ExchangeState::kNobodyThere:
      return ServerState::kNobodyThere;
    case ExchangeState::kFailed:
      return ServerState::kUnreachable;
    case ExchangeState::kWaiting:
      break;
  }
  return ServerState::kSilent;
}

// Whether the server is to be asked at all; `probe` tells otherwise why not.
bool IsToBeAsked(const std::string& server, ServerProbe& probe) {
  const AddressReading address = ReadAddress(server);
  probe.address = address.Dotted();
  const in_addr_t number = address.address.s_addr;
  if (!address.accepted) {
    probe.state = ServerState::kNoAddress;
  } else if (number == htonl(INADDR_LOOPBACK) || number == htonl(INADDR_ANY)) {
    probe.state = ServerState::kProxyItself;
  } else {
    return true;
  }
  return false;
}

// Asks servers `begin` to `end` of the list.
void AskSome(const ServerList& servers, std::size_t begin, std::size_t end, int timeout_ms,
             std::vector<ServerProbe>& probes) {
  Exchanges exchanges;
  std::vector<Exchange*> asked;  // one per server, null where it is not to be asked
  for (std::size_t at = begin; at < end; ++at) {
    Exchange* exchange = nullptr;
    if (IsToBeAsked(servers[at], probes.emplace_back())) {
      const sockaddr_in to = MakeIpv4Address(servers[at].c_str(), kDnsPort);
      exchange = exchanges.emplace_back(std::make_unique<Exchange>(to)).get();
    }
    asked.push_back(exchange);
  }
  WaitForAnswers(exchanges, timeout_ms);
  for (std::size_t at = begin; at < end; ++at) {
    const Exchange* exchange = asked[at - begin];
    if (exchange == nullptr) continue;
    ServerProbe& probe = probes[at];
    probe.state = StateOf(*exchange);
    probe.milliseconds = exchange->milliseconds();
    probe.reason = exchange->reason();
    probe.is_off_line = exchange->IsWithoutRoute();
    if (probe.state == ServerState::kAnswers) probe.answer = InWords(exchange->answer());
  }
}

// For an address that dns_proxy_upstream answers on: which server is behind it, and how that server
// is.
std::string Behind(const std::string& address) {
  static const auto state = upstream::CurrentState();
  if (!state) return "";
  for (const upstream::ServerState& server : state->servers) {
    if (server.listens != address) continue;
    if (server.address.empty()) return ", no server behind it";
    return ", for " + server.address + ", " + HealthInWords(server);
  }
  return "";
}

std::string WordsFor(const ServerProbe& probe, int timeout_ms) {
  constexpr char kWaits[] = ": queries that come to it wait until it answers";
  constexpr char kDrops[] = ": queries that come to it are dropped";
  switch (probe.state) {
    case ServerState::kAnswers:
      return "answered in " + InMilliseconds(probe.milliseconds) + " (" + probe.answer + ")" +
             Behind(probe.address);
    case ServerState::kNobodyThere:
      return std::string("nobody listens there") + kWaits;
    case ServerState::kUnreachable:
      return "can't be asked (" + probe.reason + ")" + kDrops;
    case ServerState::kProxyItself:
      return "it is the proxy itself: queries that come to it circle for ever";
    case ServerState::kNoAddress:
      return std::string("no address") + kDrops;
    case ServerState::kSilent:
      break;
  }
  return "no answer within " + std::to_string(timeout_ms) + " ms" + kWaits;
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
  bool all_answer = true;
  std::size_t number = 0;
  for (const ServerProbe& probe : ProbeServers(file.servers, file.servers.size(), timeout_ms)) {
    char start[64];
    static_cast<void>(std::snprintf(start, sizeof(start), "server %zu  %-15s  ", ++number,
                                    probe.address.c_str()));
    Print(start + WordsFor(probe, timeout_ms) + '\n');
    all_answer = all_answer && probe.state == ServerState::kAnswers;
  }
  return all_answer ? kOk : kNo;
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
  return {false, "no answer within " + std::to_string(timeout_ms) + " ms", true};
}

std::vector<ServerProbe> ProbeServers(const ServerList& servers, std::size_t most, int timeout_ms) {
  std::vector<ServerProbe> probes;
  const std::size_t count = std::min(most, servers.size());
  for (std::size_t at = 0; at < count; at += kAskedAtOnce) {
    AskSome(servers, at, std::min(at + kAskedAtOnce, count), timeout_ms, probes);
  }
  return probes;
}

std::string InMilliseconds(double milliseconds) {
  char text[32];
  static_cast<void>(std::snprintf(text, sizeof(text), "%.2f ms", milliseconds));
  return text;
}

int RunProbe(const ProbeOptions& options) {
  if (options.upstreams) return ProbeUpstreams(options.timeout_ms);
  const ProbeResult result = ProbeProxy(options.timeout_ms);
  Print("127.0.0.1:53  " + result.words + '\n');
  return result.is_well ? kOk : kNo;
}

}  // namespace ctl
