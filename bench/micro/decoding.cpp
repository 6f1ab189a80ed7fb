// Question names to dotted text.

#include <benchmark/benchmark.h>

#include "bench/micro/messages.h"
#include "dns_proxy_mac/engine/dns_message.h"

namespace {

void Decode(benchmark::State& state, const std::string& name) {
  std::vector<char> query = messages::Query(name);
  const auto length = static_cast<std::int32_t>(query.size()) - kHeaderSize;
  query.resize(query.size() + kLabelOverrun);
  for (auto _ : state) {
    char text[kNameCapacity + 1];
    text[0] = text[kNameCapacity] = 0;
    std::uint16_t type = 0;
    std::uint16_t type_class = 0;
    ExtractDomain(query.data() + kHeaderSize, length, text, kNameCapacity, type, type_class);
    benchmark::DoNotOptimize(text);
    benchmark::DoNotOptimize(type);
  }
}

std::string RepeatedLabels(int count) {
  std::string name;
  for (int i = 0; i < count; ++i) name += name.empty() ? "label" : ".label";
  return name;
}

BENCHMARK_CAPTURE(Decode, three_labels, std::string("n0000007.bench.lan"));
BENCHMARK_CAPTURE(Decode, forty_labels, RepeatedLabels(40));

}  // namespace
