#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "common/output/exit_status.h"
#include "common/output/output.h"
#include "common/platform/process_table.h"
#include "companion/commands.h"
#include "companion/names/names_keeper.h"

namespace ctl {
namespace {

// A proxy that was never seen whole may just be between the creation of its two workers, which
// takes no longer than the time from one look to the next.
constexpr int kLooksToBeSure = 2;

// Decides, look by look, whether the proxy's query thread has ended while the process lives on: a
// proxy that nothing can be asked of any more.
//
// A proxy that starts or ends has fewer threads than one that serves; neither may be taken for it.
class IntakeWatcher {
 public:
  // One look at the process table. The process, when its query thread has ended and it has not
  // been named before.
  std::optional<Process> Look();

 private:
  bool HasProxy();
  bool HasLostQueryThread(const std::vector<std::uint64_t>& threads);

  std::optional<Process> proxy_;
  // The threads of the proxy when it had all three of them; empty before.
  std::vector<std::uint64_t> all_threads_;
  int looks_at_two_threads_ = 0;
  bool was_named_ = false;
};

bool IntakeWatcher::HasProxy() {
  if (proxy_ && IsAlive(*proxy_)) return true;
  *this = IntakeWatcher();
  if (const auto found = FindProxy(); found && HoldsLocalPort(*found)) proxy_ = found;
  return proxy_.has_value();
}

// The query thread is the last to be created. Without the answer thread, the process is about to
// end by itself.
bool IntakeWatcher::HasLostQueryThread(const std::vector<std::uint64_t>& threads) {
  if (threads.size() == kThreadsOfServingProxy) {
    all_threads_ = threads;
    looks_at_two_threads_ = 0;
    return false;
  }
  if (threads.size() != kThreadsOfServingProxy - 1) {
    looks_at_two_threads_ = 0;
    return false;
  }
  if (all_threads_.empty()) return ++looks_at_two_threads_ >= kLooksToBeSure;
  return std::equal(threads.begin(), threads.end(), all_threads_.begin());
}

std::optional<Process> IntakeWatcher::Look() {
  if (!HasProxy() || was_named_) return std::nullopt;
  if (!HasLostQueryThread(ThreadsOf(*proxy_))) return std::nullopt;
  if (!HoldsLocalPort(*proxy_)) return std::nullopt;
  was_named_ = true;
  return proxy_;
}

constexpr std::chrono::seconds kBetweenLooks(1);

// Says it first: who starts the proxy again may end this program together with it. False when the
// proxy lives on because it may not be ended.
bool End(const Process& proxy) {
  const std::string which = "process " + std::to_string(proxy.pid);
  Print("The query thread of the proxy has ended: " + which +
        " gets SIGTERM, to be started again.\n");
  FlushOutput();
  if (kill(proxy.pid, SIGTERM) == 0 || errno == ESRCH) return true;
  Complain("The proxy, " + which + ", can't be ended: " + std::strerror(errno) + '.');
  return false;
}

}  // namespace

int RunWatch() {
  IntakeWatcher watcher;
  NamesKeeper names;
  for (;;) {
    names.Look();
    if (const auto proxy = watcher.Look(); proxy && !End(*proxy)) return kNo;
    std::this_thread::sleep_for(kBetweenLooks);
  }
}

}  // namespace ctl
