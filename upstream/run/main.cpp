#include <ares.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <string_view>
#include <utility>

#include "common/upstream/places.h"
#include "common/upstream/state_text.h"
#include "upstream/relay/relay.h"
#include "upstream/run/state_file.h"
#include "upstream/servers/follower.h"
#include "upstream/servers/network.h"
#include "upstream/wire/say.h"

namespace {

using namespace upstream;  // NOLINT(google-build-using-namespace): the program's own

constexpr int kUsage = 64;
constexpr Span kTurnWhenBusy = 20ms;
constexpr Span kTurnWhenIdle = 500ms;
// On macOS a look runs another program.
#ifdef __APPLE__
constexpr Span kBetweenLooks = 900ms;
#else
constexpr Span kBetweenLooks = 450ms;
#endif
// A turn takes milliseconds. After a pause this long the process was stopped or the machine slept.
constexpr Span kJump = 2s;

constexpr std::string_view kHelp =
    "Usage: dns_proxy_upstream\n"
    "Answers on 127.0.53.1, .2 and .3, port 53, each in the place of one DNS server: it asks that\n"
    "server and passes its response on, or says \"server failure\" when there is none in time.\n"
    "The servers stand in /var/log/Varnok/servers: see dns_proxy_upstream(8).\n";

volatile sig_atomic_t g_IsToEnd = 0;

void EndOnSignals() {
  struct sigaction action {};
  action.sa_handler = [](int) { g_IsToEnd = 1; };
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);
  action.sa_handler = SIG_IGN;  // a server may close its end of a connection
  sigaction(SIGPIPE, &action, nullptr);
}

std::string Sentence(const std::vector<ServerAddress>& servers) {
  if (servers.empty()) return "No server is known yet.";
  std::string sentence = "The servers are ";
  for (std::size_t i = 0; i < servers.size(); ++i) {
    sentence += (i == 0 ? "" : ", ") + AddressText(servers[i]);
  }
  return sentence + '.';
}

void Serve() {
  EventLoop loop;
  Relay relay(loop);
  StateFile state_file(kStateFile);
  Follower follower(
      kServersFile, [] { return ReadNetwork(std::time(nullptr)); },
      [](const std::string& sentence) { Say(sentence); });
  Time now = Clock::now();
  Time next_look = now;
  while (g_IsToEnd == 0) {
    if (now >= next_look) {
      next_look = now + kBetweenLooks;
      if (const auto servers = follower.Look()) {
        relay.SetServers(*servers, now);
        Say(Sentence(*servers));
      }
    }
    relay.Turn(now);
    if (state_file.IsDue(now)) state_file.Write(StateText(relay.CurrentState()), now);
    loop.Turn(relay.IsBusy() ? kTurnWhenBusy : kTurnWhenIdle);
    const Time before = std::exchange(now, Clock::now());
    if (now - before >= kJump) relay.ClockJumped(now);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view argument = argc > 1 ? argv[1] : "";
  if (argument == "--version" || argument == "--help") {
    const std::string_view text =
        argument == "--help" ? kHelp : "dns_proxy_upstream " DNS_PROXY_VERSION "\n";
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() ? EXIT_SUCCESS
                                                                           : EXIT_FAILURE;
  }
  if (argc > 1) {
    Say("It takes no arguments; see --help.");
    return kUsage;
  }
  EndOnSignals();
  try {
    ares_library_init(ARES_LIB_INIT_ALL);
    Serve();
    ares_library_cleanup();
    return EXIT_SUCCESS;
  } catch (const std::exception& failure) {
    Say(std::string(failure.what()) + '.');
    return EXIT_FAILURE;
  }
}
