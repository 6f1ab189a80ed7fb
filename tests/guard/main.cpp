// guard_differential COUNT [SEED]: holds the guard's filters against the proxy's own intake and
// relay, on sockets of this machine's loopback: every edge, then COUNT random datagrams for each of
// the two sockets. Status 1 at the first datagram that is treated otherwise.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <random>

#include "dns_proxy_mac/engine/engine.h"
#include "tests/fuzz/quiet_trace.h"
#include "tests/guard/datagrams.h"
#include "tests/guard/twins.h"

namespace {

// What the proxy's code traces must not fill a buffer that nobody reads.
template <int (*kHandler)(int)>
int Quietly(int sock) {
  QuietTrace();
  return kHandler(sock);
}

void Run(const char* name, Twins& twins, unsigned long count, std::uint32_t seed) {
  ForEachEdge([&](const Datagram& datagram) { twins.Compare(datagram); });
  RandomDatagrams random(seed);
  for (unsigned long number = 0; number < count; ++number) {
    if (number % 8 == 0) {
      twins.CompareSegments(random.NextSegments());
    } else {
      twins.Compare(random.Next());
    }
  }
  std::fprintf(stderr, "%s: %llu datagrams, %llu kept out, each as the proxy would end\n", name,
               static_cast<unsigned long long>(twins.compared()),
               static_cast<unsigned long long>(twins.kept_out()));
}

bool ReadNumber(const char* text, unsigned long& number) {
  char* end = nullptr;
  errno = 0;
  number = std::strtoul(text, &end, 10);
  return errno == 0 && end != text && *end == '\0';
}

}  // namespace

int main(int argc, char** argv) {
  unsigned long count = 0;
  unsigned long seed = std::random_device()();
  if (argc < 2 || argc > 3 || !ReadNumber(argv[1], count) ||
      (argc == 3 && !ReadNumber(argv[2], seed))) {
    std::fprintf(stderr, "guard_differential: COUNT [SEED], two numbers.\n");
    return 2;
  }
  std::fprintf(stderr, "fresh seed: %lu\n", seed);
  Twins intake(ctl::WhatEndsIntake(), Quietly<RecvAndProcessPacketsFromLocalApps>);
  Run("intake", intake, count, static_cast<std::uint32_t>(seed));
  Twins relay(ctl::WhatEndsRelay(), Quietly<RecvAndProcessPacketsFromDNSServer>);
  Run("relay", relay, count, static_cast<std::uint32_t>(seed));
  return 0;
}
