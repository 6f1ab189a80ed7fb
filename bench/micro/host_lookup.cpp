// A name in a host map of 10 to 1,000,000 names, hit and missed.

#include <benchmark/benchmark.h>

#include <random>

#include "bench/micro/messages.h"
#include "dns_proxy_mac/state/host_table.h"

namespace {

constexpr std::size_t kAsked = 4096;

// The table of the last size is kept: a benchmark is called several times.
const HostTable& TableOf(std::size_t size) {
  static HostTable table;
  if (table.mapHosts.size() == size) return table;
  table.Clear();
  for (std::size_t i = 0; i < size; ++i) {
    std::string name = messages::HostName(i);
    table.Add(name.data(), "10.1.2.3");
  }
  return table;
}

// The same names in every run, in no order that a cache likes.
std::vector<std::string> AskedNames(std::size_t size) {
  std::mt19937 generator(1);
  std::uniform_int_distribution<std::size_t> any(0, size - 1);
  std::vector<std::string> names(kAsked);
  for (std::string& name : names) name = messages::HostName(any(generator));
  return names;
}

void FindName(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0));
  const HostTable& table = TableOf(size);
  const std::vector<std::string> names = AskedNames(size);
  std::size_t next = 0;
  HostRespData* record = nullptr;
  for (auto _ : state) {
    benchmark::DoNotOptimize(table.Find(names[next++ % kAsked], record));
    benchmark::DoNotOptimize(record);
  }
}

void MissName(benchmark::State& state) {
  const HostTable& table = TableOf(static_cast<std::size_t>(state.range(0)));
  HostRespData* record = nullptr;
  const std::string name = "not.in.the.host.map";
  for (auto _ : state) benchmark::DoNotOptimize(table.Find(name, record));
}

BENCHMARK(FindName)->RangeMultiplier(10)->Range(10, 1000000);
BENCHMARK(MissName)->Arg(10)->Arg(1000000);

}  // namespace
