#include "companion/probe/proxy_probe.h"

#include <cstdio>

#include "common/configuration/configuration_text.h"
#include "common/configuration/method_list.h"
#include "companion/probe/in_milliseconds.h"
#include "companion/probe/wait.h"
#include "dns_proxy_mac/state/ipv4_address.h"

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

}  // namespace ctl
