#include "dns_proxy_mac/startup/configuration_files.h"
#include "dns_proxy_mac/startup/service_start.h"
#include "dns_proxy_mac/state/shared_objects.h"
#include "dns_proxy_mac/trace/events.h"

namespace {

// Exit statuses. A proxy with nothing to do has not failed, whatever its last line says.
constexpr int kEnded = 0;
constexpr int kNothingConfigured = 0;
constexpr int kNotStarted = 1;

int RunProxy() {
  ServerList servers;
  HostMapList host_map;
  const int dns_size = ReadServerFile(kServerFile, servers);
  const int hostmap_size = ReadHostMapFile(kHostMapFile, host_map);
  trace::ConfigurationCounts(dns_size, hostmap_size);
  if (dns_size == 0 && hostmap_size == 0) {
    trace::NothingConfigured();
    return kNothingConfigured;
  }
  if (!StartDnsSrv(servers, host_map)) {
    trace::ServiceStartFailed();
    return kNotStarted;
  }
  trace::ServiceEnded();
  return kEnded;
}

// Exit destroys the shared objects while a worker may still be at work, a query thread mostly. From
// here on it gets no further than the next lock, and what is in the trace is written once.
void StopWorkersAtTheirLocks() {
  HoldRequestTableUntilExit(g_DnsRequestTable);
  trace::FlushAndHoldUntilExit();
}

}  // namespace

int main() {
  g_QueryID = 0;
  g_Hostmaps.Clear();
  init_lock();
  trace::OpenOutput();
  const int status = RunProxy();
  StopWorkersAtTheirLocks();
  return status;
}
