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

#include "common/output/clock.h"
#include "common/output/exit_status.h"
#include "common/output/output.h"
#include "common/platform/process_table.h"
#include "companion/commands.h"
#include "companion/names/names_keeper.h"
#include "companion/watch/trace_renewal.h"

namespace ctl {
namespace {

// A proxy that was never seen with all its threads may be between the creation of its two workers.
// That takes no longer than this.
constexpr std::chrono::seconds kToBeSure(1);

// Decides at each look whether the proxy's query thread has ended while the process lives on. Such
// a proxy accepts no query any more.
//
// A proxy that starts or ends also has fewer threads than one that serves; it must not be mistaken
// for one whose intake has ended.
class IntakeWatcher {
 public:
  // One look at the process table: whether the proxy's query thread has ended. True only once for a
  // process.
  bool IntakeHasEnded();

  // The proxy that was looked at, if there is one.
  const std::optional<Process>& proxy() const { return proxy_; }

 private:
  bool HasProxy();
  bool HasLostQueryThread(const std::vector<std::uint64_t>& threads);

  std::optional<Process> proxy_;
  // The threads of the proxy when it had all three of them; empty before.
  std::vector<std::uint64_t> all_threads_;
  std::int64_t two_threads_since_ = 0;
  bool was_told_ = false;
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
    two_threads_since_ = 0;
    return false;
  }
  if (threads.size() != kThreadsOfServingProxy - 1) {
    two_threads_since_ = 0;
    return false;
  }
  if (two_threads_since_ == 0) two_threads_since_ = MonotonicNow();
  if (all_threads_.empty()) {
    return MonotonicNow() - two_threads_since_ >= std::chrono::nanoseconds(kToBeSure).count();
  }
  return std::equal(threads.begin(), threads.end(), all_threads_.begin());
}

bool IntakeWatcher::IntakeHasEnded() {
  if (!HasProxy() || was_told_) return false;
  if (!HasLostQueryThread(ThreadsOf(*proxy_)) || !HoldsLocalPort(*proxy_)) return false;
  was_told_ = true;
  return true;
}

// Empty when there is no reason.
std::string WhyToEnd(IntakeWatcher& watcher, TraceRenewal& renewal) {
  if (watcher.IntakeHasEnded()) return "The query thread of the proxy has ended";
  return watcher.proxy() ? renewal.Look(FactsOf(*watcher.proxy()), MonotonicNow()) : "";
}

// A look at a proxy that is known takes some ten microseconds. To find one, all processes must be
// looked at.
constexpr std::chrono::milliseconds kBetweenLooks(200);
constexpr std::chrono::milliseconds kBetweenSearches(1000);

// Prints the line first, because the service manager may end this program together with the proxy.
// False when the proxy lives on because it may not be ended.
bool End(const Process& proxy, const std::string& why) {
  const std::string which = "process " + std::to_string(proxy.pid);
  Print(why + ": " + which + " gets SIGTERM, to be started again.\n");
  FlushOutput();
  if (kill(proxy.pid, SIGTERM) == 0 || errno == ESRCH) return true;
  Complain("The proxy, " + which + ", can't be ended: " + std::strerror(errno) + '.');
  return false;
}

}  // namespace

int RunWatch() {
  IntakeWatcher watcher;
  TraceRenewal renewal;
  NamesKeeper names;
  std::int64_t names_looked_at = 0;
  for (;;) {
    const std::int64_t now = MonotonicNow();
    if (now - names_looked_at >= std::chrono::nanoseconds(kBetweenSearches).count()) {
      names.Look();
      names_looked_at = now;
    }
    const std::string why = WhyToEnd(watcher, renewal);
    if (!why.empty() && !End(*watcher.proxy(), why)) return kNo;
    std::this_thread::sleep_for(watcher.proxy() ? kBetweenLooks : kBetweenSearches);
  }
}

}  // namespace ctl
