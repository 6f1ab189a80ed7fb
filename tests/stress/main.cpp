// Load for a proxy on 127.0.0.1:53 with servers 127.0.0.2 and 127.0.0.3 and the name mapped.stress
// in its host map: many queries in flight on several sockets, servers that answer out of order,
// empty, twice and behind a stranger, ids that come round to a query still in flight, and a normal
// end while queries keep coming. Tells what it saw and ends with 0 when every response was right.

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "tests/stress/applications.h"
#include "tests/stress/upstreams.h"

namespace {

constexpr int kApplications = 3;

}  // namespace

int main(int argc, char** argv) {
  const long queries = argc == 2 ? std::strtol(argv[1], nullptr, 10) : 0;
  if (queries < kApplications) {
    std::fprintf(stderr, "proxy_load: how many queries? One number of at least %d, please.\n",
                 kApplications);
    return 2;
  }
  const auto each = static_cast<std::uint32_t>(queries / kApplications + 1);
  std::atomic<int> done{0};
  std::atomic<bool> failed{false};
  std::atomic<bool> stop{false};
  Upstreams upstreams;
  std::vector<Application> applications;
  for (int i = 0; i < kApplications; ++i) applications.emplace_back(i);

  std::vector<std::thread> askers;
  for (Application& application : applications) {
    askers.emplace_back([&] {
      if (!application.Run(each, done, stop)) failed = true;
    });
  }
  // It ends the proxy at its end, while the applications still ask.
  upstreams.ServeUntil([&] { return done == kApplications || failed; });
  stop = true;
  for (std::thread& asker : askers) asker.join();

  std::uint32_t repeats = 0;
  for (const Application& application : applications) repeats += application.repeats();
  std::printf("%ld queries, %u ids came round to a query in flight, %u queries asked again: %s\n",
              queries, upstreams.wraps(), repeats, failed ? "FAILED" : "every response right");
  return failed ? 1 : 0;
}
