#include "dns_proxy_mac/startup/service.h"

#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <string>

#include "dns_proxy_mac/platform.h"
#include "dns_proxy_mac/state/shared_objects.h"
#include "dns_proxy_mac/trace/print.h"

namespace {

constexpr char kLocalAddress[] = "127.0.0.1";
constexpr std::ptrdiff_t kPairsTogether = 16;

bool OpenSockets() {
  g_SockToClientApps = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
  g_SockToDNSServers = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
  if (g_SockToClientApps < 0 || g_SockToDNSServers < 0) {
    trace::Print<trace::kSocketInvalid>();
    return false;
  }
  return true;
}

bool BindLocalSocket() {
  const sockaddr_in local = MakeIpv4Address(kLocalAddress, kDnsPort);
  if (bind(g_SockToClientApps, reinterpret_cast<const sockaddr*>(&local), sizeof(local)) != 0) {
    trace::Print<trace::kBindFailed>(kLocalAddress, kDnsPort);
    return false;
  }
  trace::Print<trace::kBindSucceeded>(kLocalAddress, kDnsPort);
  return true;
}

using HostMapPairs = HostMapList::const_iterator;

// A large map does not fit into the processor's caches, and an insert waits for memory several
// times. Looking some names up beforehand lets these waits overlap: a start with a million names
// takes a quarter less (docs/performance.md).
void BringPlacesNear(HostMapPairs pair, HostMapPairs end) {
  std::size_t filed = 0;
  for (; pair != end; ++pair) filed += g_Hostmaps.mapHosts.count(pair->first);
  // Without a use of the count the compiler would leave the lookups out.
  [[maybe_unused]] const volatile std::size_t used = filed;
}

void AddPairs(HostMapPairs pair, HostMapPairs end) {
  for (; pair != end; ++pair) {
    const auto& [domain, address] = *pair;
    trace::Print<trace::kHostMapPairAdded>(domain.c_str(), address.c_str());
    g_Hostmaps.Add(std::string(domain).data(), address.c_str());
  }
}

void LoadHostMap(const HostMapList& host_map) {
  if (host_map.empty()) return;
  // Without this the table rehashes about twenty times for a million names.
  g_Hostmaps.mapHosts.reserve(host_map.size());
  for (auto pair = host_map.begin(); pair != host_map.end();) {
    const auto end = pair + std::min(kPairsTogether, host_map.end() - pair);
    BringPlacesNear(pair, end);
    AddPairs(pair, end);
    pair = end;
  }
  g_DnsMethodList.push_back(MakeHostMapMethod());
}

void AddServers(const ServerList& servers) {
  for (const std::string& server : servers) {
    trace::Print<trace::kServerAdded>(server.c_str());
    g_DnsMethodList.push_back(MakeServerMethod(server.c_str()));
  }
}

bool StartWorkers() {
  KeepStacksOfJoinedThreads();
  trace::HandOver();
  if (pthread_create(&g_thread_answer, nullptr, thread_answer, nullptr) != 0) {
    trace::Print<trace::kAnswerThreadNotCreated>();
    return false;
  }
  trace::Print<trace::kAnswerThreadCreated>();
  trace::HandOver();
  if (pthread_create(&g_thread_query, nullptr, thread_query, nullptr) != 0) {
    trace::Print<trace::kQueryThreadNotCreated>();
    return false;
  }
  trace::Print<trace::kQueryThreadCreated>();
  return true;
}

// The query thread may still be waiting on the first socket or at work on either; its next call on
// one of them fails.
void CloseSockets() {
  close(g_SockToClientApps);
  close(g_SockToDNSServers);
}

}  // namespace

void init_lock() {}

bool StartDnsSrv(const ServerList& servers, const HostMapList& host_map) {
  if (!OpenSockets() || !BindLocalSocket()) return false;
  LoadHostMap(host_map);
  AddServers(servers);
  if (!StartWorkers()) return false;
  trace::Flush();
  // The service lives as long as the answer thread. The second join finds its thread gone and is
  // answered with an error, see KeepStacksOfJoinedThreads.
  pthread_join(g_thread_answer, nullptr);
  pthread_join(g_thread_answer, nullptr);
  CloseSockets();
  return true;
}
