// One datagram from its receive call to its send call, every trace line included, the system calls
// replaced.

#include <benchmark/benchmark.h>

#include "bench/micro/messages.h"
#include "bench/micro/replaced_calls.h"
#include "dns_proxy_mac/engine/engine.h"
#include "dns_proxy_mac/state/shared_objects.h"

namespace {

constexpr int kAnySocket = 3;
constexpr char kServer[] = "127.0.0.2";
constexpr std::size_t kHostNames = 1000;

void SetUpProxy(std::size_t servers) {
  g_SockToClientApps = g_SockToDNSServers = kAnySocket;
  if (g_Hostmaps.mapHosts.empty()) {
    for (std::size_t i = 0; i < kHostNames; ++i) {
      std::string name = messages::HostName(i);
      g_Hostmaps.Add(name.data(), "10.1.2.3");
    }
  }
  g_DnsMethodList.assign(1, MakeHostMapMethod());
  g_DnsMethodList.insert(g_DnsMethodList.end(), servers, MakeServerMethod(kServer));
}

void IntakeAnswered(benchmark::State& state, const std::string& name) {
  SetUpProxy(1);
  replaced::Deliver(messages::Query(name), "127.0.0.1");
  for (auto _ : state) benchmark::DoNotOptimize(RecvAndProcessPacketsFromLocalApps(kAnySocket));
}

// Both datagrams of a forwarded query, the response having so many answers; with none, the query
// visits every server and ends as no such name.
void ForwardAndRelay(benchmark::State& state, std::size_t servers, std::size_t answers) {
  SetUpProxy(servers);
  const std::vector<char> query = messages::Query("u0000007.bench.example");
  const std::vector<char> response = messages::Response(query, answers);
  for (auto _ : state) {
    replaced::Deliver(query, "127.0.0.1");
    benchmark::DoNotOptimize(RecvAndProcessPacketsFromLocalApps(kAnySocket));
    replaced::Deliver(response, kServer);
    replaced::DeliverWithLastSentId();
    for (std::size_t i = 0; i < (answers > 0 ? 1 : servers); ++i) {
      benchmark::DoNotOptimize(RecvAndProcessPacketsFromDNSServer(kAnySocket));
    }
  }
}

BENCHMARK_CAPTURE(IntakeAnswered, host_map_hit, messages::HostName(7));
BENCHMARK_CAPTURE(IntakeAnswered, reverse_name, std::string("4.3.2.10.in-addr.arpa"));
BENCHMARK_CAPTURE(ForwardAndRelay, one_server, 1, 1);
BENCHMARK_CAPTURE(ForwardAndRelay, ten_servers, 10, 1);
BENCHMARK_CAPTURE(ForwardAndRelay, servers_159, 159, 1);
BENCHMARK_CAPTURE(ForwardAndRelay, no_such_name, 1, 0);

}  // namespace
