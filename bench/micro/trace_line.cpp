// One trace line of three arguments, as the proxy prints it and through the C library.

#include <benchmark/benchmark.h>

#include <cstdio>

#include "dns_proxy_mac/trace/print.h"

namespace {

constexpr int kLength = 38;
constexpr char kFrom[] = "127.0.0.1";

void TraceLine(benchmark::State& state) {
  for (auto _ : state) {
    trace::Print<trace::kQueryReceived>(kLength, kFrom);
    benchmark::ClobberMemory();
  }
}

void SnprintfLine(benchmark::State& state) {
  char line[256];
  int length = kLength;
  for (auto _ : state) {
    benchmark::DoNotOptimize(length);
    std::snprintf(line, sizeof(line), "func: %s(line:%d)FromAPP: received %d data from %s\n",
                  "RecvAndProcessPacketsFromLocalApps", 412, length, kFrom);
    benchmark::DoNotOptimize(line);
  }
}

BENCHMARK(TraceLine);
BENCHMARK(SnprintfLine);

}  // namespace
