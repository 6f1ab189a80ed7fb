#include <cstdint>

#include "dns_proxy_mac/startup/configuration_files.h"
#include "dns_proxy_mac/startup/service_start.h"
#include "dns_proxy_mac/state/shared_objects.h"
#include "dns_proxy_mac/trace/events.h"

namespace {

enum class Outcome : std::uint8_t { kNothingConfigured, kNotStarted, kEnded };

Outcome RunProxy() {
  ServerList servers;
  HostMapList host_map;
  const int dns_size = ReadServerFile(kServerFile, servers);
  const int hostmap_size = ReadHostMapFile(kHostMapFile, host_map);
  trace::ConfigurationCounts(dns_size, hostmap_size);
  if (dns_size == 0 && hostmap_size == 0) return Outcome::kNothingConfigured;
  return StartDnsSrv(servers, host_map) ? Outcome::kEnded : Outcome::kNotStarted;
}

// Exit destroys the shared objects while a worker, a query thread mostly, may still be at work.
// From here on such a worker gets no further than its next lock, and the last line of the trace is
// the last one.
void StopWorkersAtTheirLocks() {
  HoldRequestTableUntilExit(g_DnsRequestTable);
  trace::FlushAndHoldUntilExit();
}

// Traces the outcome and gives its exit status. A proxy with nothing to do has not failed, whatever
// its line says.
int TellOutcome(Outcome outcome) {
  switch (outcome) {
    case Outcome::kNothingConfigured:
      trace::NothingConfigured();
      return 0;
    case Outcome::kNotStarted:
      trace::ServiceStartFailed();
      return 1;
    case Outcome::kEnded:
      trace::ServiceEnded();
  }
  return 0;
}

}  // namespace

int main() {
  g_QueryID = 0;
  g_Hostmaps.Clear();
  init_lock();
  trace::OpenOutput();
  const Outcome outcome = RunProxy();
  StopWorkersAtTheirLocks();
  const int status = TellOutcome(outcome);
  trace::Flush();
  return status;
}
