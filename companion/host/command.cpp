#include <unistd.h>

#include <algorithm>
#include <string>

#include "common/output/exit_status.h"
#include "common/output/output.h"
#include "companion/commands.h"
#include "companion/host/host.h"
#include "companion/host/readers.h"
#include "companion/probe/probe.h"
#include "companion/status/host_resolver.h"

namespace ctl {
namespace {

bool IsRoot() { return geteuid() == 0; }

int Refuse(const std::string& sentence) {
  Complain(sentence);
  return kNo;
}

// Why the host is better not turned on, as a sentence; empty when nothing is in the way.
std::string WhatIsInTheWay() {
  const ProbeResult probe = ProbeProxy(kUsualTimeoutMs);
  if (!probe.is_well) return "The proxy does not answer (" + probe.words + "): nothing is changed.";
  const ServerList servers = CheckQuietly().servers;
  const auto is_resolved = [](const std::string& server) { return IsResolved(server); };
  if (std::any_of(servers.begin(), servers.end(), is_resolved)) {
    return "The proxy asks systemd-resolved, which would ask the proxy: name other servers in " +
           std::string(kServerFile) + ". Nothing is changed.";
  }
  const auto probes = ProbeServers(servers, servers.size(), kUsualTimeoutMs);
  const auto is_of_use = [](const ServerProbe& server) {
    return server.state == ServerState::kAnswers || server.is_off_line;
  };
  if (!probes.empty() && std::none_of(probes.begin(), probes.end(), is_of_use)) {
    return "None of the proxy's servers answers, see dns_proxy_ctl probe --upstreams: nothing is "
           "changed.";
  }
  return "";
}

int Tell(const HostOutcome& outcome, const std::string& done) {
  for (const std::string& sentence : outcome.sentences) Complain(sentence);
  if (!outcome.is_done) return kError;
  Print(done + '\n');
  return kOk;
}

}  // namespace

int RunOn(const OnOptions& options) {
  const HostPlaces places;
  if (!IsRoot()) return Refuse("Only root may change how this host asks for names.");
  if (options.keep) return KeepHostAnswered(places);
  const std::string obstacle = WhatIsInTheWay();
  if (!obstacle.empty()) return Refuse(obstacle);
  if (ReadHostUse(places) == HostUse::kOn && ReadHostResolver().asks_proxy) {
    Print("The host asks the proxy already.\n");
    return kOk;
  }
  const HostOutcome outcome = TurnHostOn(places);
  if (outcome.is_done) StartKeeper(places);
  return Tell(outcome, "The host asks the proxy now. dns_proxy_ctl off puts everything back.");
}

int RunOff() {
  const HostPlaces places;
  if (!IsRoot()) return Refuse("Only root may change how this host asks for names.");
  if (ReadHostUse(places) == HostUse::kOff && !HasHostState(places)) {
    Print("The host is as it was: dns_proxy_ctl on has changed nothing.\n");
    return kOk;
  }
  StopKeeper(places);
  return Tell(TurnHostOff(places), "The host is as it was before.");
}

}  // namespace ctl
