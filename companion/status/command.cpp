#include <algorithm>
#include <optional>

#include "common/configuration/findings.h"
#include "common/output/shown_text.h"
#include "common/platform/process_table.h"
#include "common/platform/user_access.h"
#include "companion/commands.h"
#include "companion/guard/guard.h"
#include "companion/host/host.h"
#include "companion/probe/probe.h"
#include "companion/status/host_resolver.h"
#include "companion/status/report.h"

namespace ctl {
namespace {

// No query reaches a server behind that position of the list.
constexpr std::size_t kMostServersAsked = 256;

constexpr char kRootIsNeeded[] = "not to be seen: root alone sees the processes of others here";

std::string Duration(double seconds) {
  const auto whole = static_cast<std::uint64_t>(std::max(0.0, seconds));
  if (whole < 60) return Counted(whole, "second");
  if (whole < 3600) return Counted(whole / 60, "minute");
  if (whole < 86400) return Counted(whole / 3600, "hour");
  return Counted(whole / 86400, "day");
}

// False unless both workers live.
bool AddProcess(const std::optional<Process>& proxy, StatusReport& report) {
  if (!proxy) {
    report.Add("proxy", SeesAllProcesses() ? "not running" : kRootIsNeeded, false);
    return false;
  }
  report.Add("proxy", "running as process " + std::to_string(proxy->pid) + " for " +
                          Duration(SecondsSinceStart(*proxy)));
  const std::size_t threads = ThreadsOf(*proxy).size();
  if (threads == kThreadsOfServingProxy) {
    report.Add("workers", "both alive");
    return true;
  }
  const bool has_lost_intake = threads == kThreadsOfServingProxy - 1 && HoldsLocalPort(*proxy);
  report.Add("workers",
             has_lost_intake
                 ? "the intake of queries has ended: nothing can be asked until a restart"
                 : "not both there: it is starting, or ending",
             false);
  return false;
}

std::string PortInWords(const std::optional<Process>& proxy) {
  if (proxy && HoldsLocalPort(*proxy)) return "held by the proxy";
  const PortHolder holder = HolderOfLocalPort();
  if (!holder.is_held) return SeesAllProcesses() ? "free" : kRootIsNeeded;
  const std::string held = "held by " + Shown(holder.name);
  return held +
         (holder.pid == 0 ? "; root can see which" : ", process " + std::to_string(holder.pid));
}

std::string ServerInWords(const ServerProbe& probe) {
  switch (probe.state) {
    case ServerState::kAnswers:
      return probe.address + " answers in " + InMilliseconds(probe.milliseconds);
    case ServerState::kSilent:
      return probe.address + " is silent";
    case ServerState::kNobodyThere:
      return "nobody listens at " + probe.address;
    case ServerState::kUnreachable:
      return probe.address + " can't be asked (" + probe.reason + ")";
    case ServerState::kProxyItself:
      return probe.address + " is the proxy itself";
    case ServerState::kNoAddress:
      break;
  }
  return "a line is no address";
}

// When there are few servers, each one. When there are many, those that do not answer, and how many
// do.
std::string ServersInWords(const std::vector<ServerProbe>& probes, std::size_t answer) {
  constexpr std::size_t kMostNamed = 8;
  const bool names_all = probes.size() <= kMostNamed;
  std::string words =
      names_all ? "" : Grouped(answer) + " of " + Grouped(probes.size()) + " answer";
  std::size_t named = 0;
  for (const ServerProbe& probe : probes) {
    if (!names_all && probe.state == ServerState::kAnswers) continue;
    if (++named > kMostNamed) return words + "; and more";
    words += (words.empty() ? "" : "; ") + ServerInWords(probe);
  }
  return words;
}

void AddServers(const ServerList& servers, const HostResolver& host, StatusReport& report) {
  if (servers.empty()) {
    report.Add("servers", host.names_ipv6_only
                              ? "none: this host names its servers by IPv6 addresses only, and the "
                                "proxy asks IPv4 ones"
                              : "none");
    return;
  }
  const std::vector<ServerProbe> probes = ProbeServers(servers, kMostServersAsked, kUsualTimeoutMs);
  const auto answers = [](const ServerProbe& probe) {
    return probe.state == ServerState::kAnswers;
  };
  const auto answer =
      static_cast<std::size_t>(std::count_if(probes.begin(), probes.end(), answers));
  report.Add("servers", ServersInWords(probes, answer), answer == probes.size());
  const auto is_off_line = [](const ServerProbe& probe) { return probe.is_off_line; };
  if (std::all_of(probes.begin(), probes.end(), is_off_line)) {
    report.Add("network",
               "off line: there is no way to any server, and queries to them are dropped", false);
  }
  for (const ServerProbe& probe : probes) {
    if (!IsResolved(probe.address) || !host.resolved_asks_proxy) continue;
    report.Add("circle",
               "server " + probe.address +
                   " is systemd-resolved, which asks the proxy: queries "
                   "circle for ever",
               false);
    break;
  }
}

void AddHostUse(bool asks_proxy, StatusReport& report) {
  switch (ReadHostUse(HostPlaces{})) {
    case HostUse::kOff:
      report.Add("host", asks_proxy ? "asks the proxy, but not by dns_proxy_ctl on" : "off");
      return;
    case HostUse::kOn:
      if (asks_proxy) {
        report.Add("host", "on: asks the proxy, by dns_proxy_ctl on");
      } else {
        report.Add("host",
                   "on, but another program has changed the resolver file since: "
                   "dns_proxy_ctl on does it once more",
                   false);
      }
      return;
    case HostUse::kOffForNow:
      report.Add("host", "off for now: the proxy did not answer; on again when it does", false);
      return;
    case HostUse::kHalf:
      report.Add("host", "half on: it was ended in the middle; see dns_proxy_ctl off", false);
      return;
  }
}

void AddFiles(StatusReport& report) {
  for (const char* path : {kServerFile, kHostMapFile}) {
    const auto obstacle = WhatKeepsFromReading(kServiceUser, path);
    if (!obstacle) continue;
    report.Add("files", std::string(kServiceUser) + ", the user of the service, may not " +
                            (obstacle->is_folder ? "pass " : "read ") + obstacle->path);
  }
}

}  // namespace

int RunStatus(const StatusOptions& options) {
  StatusReport report(options.json);
  const std::optional<Process> proxy = FindProxy();
  const bool workers_live = AddProcess(proxy, report);
  report.Add("127.0.0.1:53", PortInWords(proxy));
  const std::string guard = proxy ? GuardInWords(*proxy) : "";
  if (!guard.empty()) report.Add("guard", guard);

  const HostResolver host = ReadHostResolver();
  report.Add("resolver", host.words);
  AddHostUse(host.asks_proxy, report);
  if (!host.bad_options.empty()) report.Add("options", host.bad_options, !host.asks_proxy);

  const CheckVerdict verdict = CheckQuietly();
  AddServers(verdict.servers, host, report);
  const std::string upstreams = UpstreamsInWords();
  if (!upstreams.empty()) report.Add("upstream", upstreams);
  report.Add("host map", Counted(verdict.host_map_entries, "entry", "entries"));
  AddFiles(report);
  const bool is_clean = verdict.errors + verdict.warnings == 0;
  report.Add("check", CountsInWords(verdict.errors, verdict.warnings) +
                          (is_clean ? "" : ", see dns_proxy_ctl check"));

  const ProbeResult probe = ProbeProxy(kUsualTimeoutMs);
  report.Add("probe", probe.words, probe.is_well);
  if (workers_live && probe.is_silent) {
    report.Add("remedy",
               "restart the proxy: both workers live and nothing is answered, so every number of a "
               "query waits for a silent server",
               false);
  }
  return report.Finish();
}

}  // namespace ctl
