#include <cmath>
#include <cstdio>
#include <optional>

#include "common/configuration/findings.h"
#include "common/output/exit_status.h"
#include "common/output/output.h"
#include "common/output/shown_text.h"
#include "common/platform/process_table.h"
#include "companion/commands.h"
#include "companion/guard/guard.h"
#include "companion/probe/probe.h"
#include "companion/status/resolver.h"

namespace ctl {
namespace {

constexpr char kRootIsNeeded[] = "not to be seen: root alone sees the processes of others here";

void PrintRow(const char* subject, const std::string& words) {
  char start[32];
  std::snprintf(start, sizeof(start), "%-13s ", subject);
  Print(start + words + '\n');
}

std::string Duration(double seconds) {
  const auto whole = static_cast<std::uint64_t>(std::max(0.0, seconds));
  if (whole < 60) return Counted(whole, "second");
  if (whole < 3600) return Counted(whole / 60, "minute");
  if (whole < 86400) return Counted(whole / 3600, "hour");
  return Counted(whole / 86400, "day");
}

// False unless both workers live.
bool PrintProcess(const std::optional<Process>& proxy) {
  if (!proxy) {
    PrintRow("proxy", SeesAllProcesses() ? "not running" : kRootIsNeeded);
    return false;
  }
  PrintRow("proxy", "running as process " + std::to_string(proxy->pid) + " for " +
                        Duration(SecondsSinceStart(*proxy)));
  const std::size_t threads = ThreadsOf(*proxy).size();
  if (threads == kThreadsOfServingProxy) {
    PrintRow("workers", "both alive");
    return true;
  }
  if (threads == kThreadsOfServingProxy - 1 && HoldsLocalPort(*proxy)) {
    PrintRow("workers", "the intake of queries has ended: nothing can be asked until a restart");
  } else {
    PrintRow("workers", "not both there: it is starting, or ending");
  }
  return false;
}

void PrintPort(const std::optional<Process>& proxy) {
  const PortHolder holder = HolderOfLocalPort();
  if (proxy && HoldsLocalPort(*proxy)) {
    PrintRow("127.0.0.1:53", "held by the proxy");
  } else if (!holder.is_held) {
    PrintRow("127.0.0.1:53", SeesAllProcesses() ? "free" : kRootIsNeeded);
  } else if (holder.pid == 0) {
    PrintRow("127.0.0.1:53", "held by " + Shown(holder.name) + "; root can see which");
  } else {
    PrintRow("127.0.0.1:53",
             "held by " + Shown(holder.name) + ", process " + std::to_string(holder.pid));
  }
}

}  // namespace

int RunStatus() {
  const std::optional<Process> proxy = FindProxy();
  const bool workers_live = PrintProcess(proxy);
  PrintPort(proxy);
  const std::string guard = proxy ? GuardInWords(*proxy) : "";
  if (!guard.empty()) PrintRow("guard", guard);
  PrintRow("resolver", ReadResolverTarget().words);

  const CheckVerdict verdict = CheckQuietly();
  PrintRow("servers", Grouped(verdict.servers));
  PrintRow("host map", Counted(verdict.host_map_entries, "entry", "entries"));
  const bool is_clean = verdict.errors + verdict.warnings == 0;
  PrintRow("check", CountsInWords(verdict.errors, verdict.warnings) +
                        (is_clean ? "" : ", see dns_proxy_ctl check"));
  const ProbeResult probe = ProbeProxy(kUsualTimeoutMs);
  PrintRow("probe", probe.words);
  return workers_live && probe.is_well ? kOk : kNo;
}

}  // namespace ctl
