// Load for a proxy on 127.0.0.1:53 with servers 127.0.0.2 and 127.0.0.3 and the name mapped.stress
// in its host map: many queries in flight on several sockets, servers that answer out of order,
// empty, twice and behind a stranger, ids that come round to a query still in flight, and a normal
// end while queries keep coming. Tells what it saw and ends with 0 when every response was right.

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "tests/stress/applications.h"
#include "tests/stress/upstreams.h"

namespace {

constexpr int kApplications = 3;
// From so many on, the proxy's ids have come round to a query that waits for just that.
constexpr long kQueriesForAWrap = 200000;
constexpr auto kTimeToEnd = std::chrono::seconds(120);

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
  upstreams.ServeUntil([&] { return done == kApplications || failed; });
  upstreams.EndProxy();
  const auto ending = std::chrono::steady_clock::now();
  bool has_ended = false;
  // The applications go on asking until the proxy has gone.
  upstreams.ServeUntil([&] {
    has_ended = IsFree("127.0.0.1", kProxyPort);
    return has_ended || failed || std::chrono::steady_clock::now() - ending > kTimeToEnd;
  });
  stop = true;
  for (std::thread& asker : askers) asker.join();

  std::uint32_t repeats = 0;
  for (const Application& application : applications) repeats += application.repeats();
  const bool no_wrap = queries >= kQueriesForAWrap && upstreams.wraps() == 0;
  if (no_wrap) std::fprintf(stderr, "proxy_load: no id came round to a query in flight\n");
  if (!has_ended && !failed) std::fprintf(stderr, "proxy_load: the proxy did not end\n");
  const bool is_right = !failed && !no_wrap && has_ended;
  std::printf("%ld queries, %u ids came round to a query in flight, %u queries asked again: %s\n",
              queries, upstreams.wraps(), repeats, is_right ? "every response right" : "FAILED");
  return is_right ? 0 : 1;
}
