#include <fcntl.h>
#include <signal.h>  // NOLINT(modernize-deprecated-headers): the signals are the system's
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <exception>
#include <string>
#include <thread>

#include "common/output/exit_status.h"
#include "page/api/routes.h"
#include "page/command_line.h"
#include "page/follow/follower.h"
#include "page/http/server.h"
#include "page/memory/day_history.h"
#include "page/memory/store.h"

namespace page {
namespace {

constexpr std::int64_t kMegabyte = 1 << 20;

// The far end of each pipe wakes a thread out of its wait.
int g_StopPipe[2] = {-1, -1};
int g_WakePipe[2] = {-1, -1};

void Tell(const std::string& sentence) {
  static_cast<void>(std::fprintf(stderr, "dns_proxy_page: %s\n", sentence.c_str()));
}

void Stop(int /*signal*/) {
  const ssize_t written = write(g_StopPipe[1], "x", 1);
  static_cast<void>(written);
}

void Wake() {
  const ssize_t written = write(g_WakePipe[1], "x", 1);
  static_cast<void>(written);  // a full pipe wakes as well
}

bool MakePipes() {
  for (int* const ends : {g_StopPipe, g_WakePipe}) {
    if (pipe(ends) != 0) return false;
    for (int end = 0; end < 2; ++end) {
      fcntl(ends[end], F_SETFD, FD_CLOEXEC);
      fcntl(ends[end], F_SETFL, O_NONBLOCK);
    }
  }
  return true;
}

void HandleSignals() {
  struct sigaction action {};
  action.sa_handler = Stop;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
  action.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &action, nullptr);
}

// Signals go to the thread that serves.
void BlockSignals() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

struct Following {
  Store& store;
  LiveState& live;
  const Options& options;
  std::atomic<bool> is_to_end{false};

  void Run() {
    BlockSignals();
    try {
      Follow();
    } catch (const std::exception& failure) {
      Tell(failure.what());
      Stop(0);
    }
  }

 private:
  void Follow() {
    store.Check();
    live.Committed(store.generation());
    Recorder recorder(store, live, options.query_hours > 0);
    Follower follower(options.trace, recorder, g_WakePipe[0]);
    follower.Open(recorder.Resume(LoadDay(options.database)));
    while (!is_to_end) follower.Round();
    follower.Finish();
  }
};

int Run(const Options& options) {
  if (!MakePipes()) return ctl::kSystem;
  HandleSignals();
  Server server(options.port);
  Store store(options.database, {options.megabytes * kMegabyte, options.query_hours}, Tell);
  LiveState live;
  CompanionReports reports(options.companion, options.companion_seconds);
  Routes routes(
      {options.database, options.trace, {options.query_hours, options.megabytes * kMegabyte}}, live,
      reports, Wake);
  Following following{store, live, options};
  std::thread follower([&following] { following.Run(); });
  std::printf("http://127.0.0.1:%d/\n", static_cast<int>(server.port()));
  static_cast<void>(std::fflush(stdout));
  server.Run([&routes](const Request& request) { return routes.Answer(request); },
             [&routes] { return routes.Events(); }, g_StopPipe[0]);
  following.is_to_end = true;
  Wake();
  follower.join();
  return ctl::kOk;
}

}  // namespace
}  // namespace page

int main(int argc, char** argv) {
  page::Options options;
  int status = ctl::kOk;
  try {
    if (!page::ReadCommandLine(argc, argv, options, status)) return status;
    return page::Run(options);
  } catch (const std::exception& failure) {
    page::Tell(failure.what());
  }
  return ctl::kSystem;
}
