// The two messages that the proxy makes itself, and a record's copy of its methods.

#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>

#include "bench/micro/messages.h"
#include "dns_proxy_mac/engine/synthesized_responses.h"

namespace {

std::unique_ptr<DnsRequest> StoredQuery() {
  const std::vector<char> query = messages::Query("n0000007.bench.lan");
  auto request = std::make_unique<DnsRequest>();
  std::memset(request->QueryPacket, 0, sizeof(request->QueryPacket));
  std::memcpy(request->QueryPacket, query.data(), query.size());
  request->iQueryPacketLen = static_cast<std::int32_t>(query.size());
  request->usClientId = 0x1234;
  request->usQType = messages::kTypeA;
  return request;
}

void HostMapAnswer(benchmark::State& state) {
  const auto request = StoredQuery();
  const std::int32_t length = request->iQueryPacketLen;
  const HostRespData record{};
  for (auto _ : state) {
    request->iQueryPacketLen = length;
    BuildHostMapAnswer(*request, record);
    benchmark::DoNotOptimize(request->QueryPacket);
  }
}

void NoSuchNameAnswer(benchmark::State& state) {
  const auto request = StoredQuery();
  for (auto _ : state) {
    char response[kDatagramCapacity];
    BuildNoSuchNameResponse(*request, response);
    benchmark::DoNotOptimize(response);
  }
}

void CopyMethods(benchmark::State& state) {
  const std::vector<DNSMethodInfo> methods(static_cast<std::size_t>(state.range(0)),
                                           MakeServerMethod("10.0.0.1"));
  for (auto _ : state) {
    std::vector<DNSMethodInfo> copy;
    copy = methods;
    benchmark::DoNotOptimize(copy.data());
  }
}

BENCHMARK(HostMapAnswer);
BENCHMARK(NoSuchNameAnswer);
BENCHMARK(CopyMethods)->Arg(1)->Arg(10)->Arg(160);

}  // namespace
