#include "dns_proxy_mac/startup/service.h"
#include "dns_proxy_mac/state/shared_objects.h"
#include "dns_proxy_mac/trace/print.h"

namespace {

// Exit destroys the shared objects while a worker, a query thread mostly, may still be at work.
// From here on such a worker gets no further than its next lock, and nothing is printed behind the
// line that says how it went.
template <const auto& kLastLine>
int End(int status) NO_THREAD_SAFETY_ANALYSIS {  // never gives the table back
  trace::HandOver();
  g_DnsRequestTable.Lock();
  trace::Print<kLastLine>();
  trace::FlushForGood();
  return status;
}

}  // namespace

int main() {
  g_QueryID = 0;
  g_Hostmaps.Clear();
  init_lock();
  trace::OpenOutput();
  ServerList servers;
  HostMapList host_map;
  const int dns_size = ReadServerFile(kServerFile, servers);
  const int hostmap_size = ReadHostMapFile(kHostMapFile, host_map);
  trace::Print<trace::kConfigurationCounts>(dns_size, hostmap_size);
  // A proxy with nothing to do has not failed, whatever its line says.
  if (dns_size == 0 && hostmap_size == 0) return End<trace::kNothingConfigured>(0);
  if (!StartDnsSrv(servers, host_map)) return End<trace::kServiceStartFailed>(1);
  return End<trace::kServiceEnded>(0);
}
