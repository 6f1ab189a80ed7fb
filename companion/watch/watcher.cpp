#include "companion/watch/watcher.h"

#include <algorithm>

namespace ctl {
namespace {

constexpr std::size_t kThreadsOfServingProxy = 3;

// A proxy that was never seen whole may just be between the creation of its two workers, which
// takes no longer than the time from one look to the next.
constexpr int kLooksToBeSure = 2;

}  // namespace

bool IntakeWatcher::FindProxy() {
  if (proxy_ && IsAlive(*proxy_)) return true;
  *this = IntakeWatcher();
  for (const Process& process : ProcessesNamedAsProxy()) {
    if (HoldsLocalPort(process)) proxy_ = process;
  }
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
  if (!FindProxy() || was_named_) return std::nullopt;
  if (!HasLostQueryThread(ThreadsOf(*proxy_))) return std::nullopt;
  if (!HoldsLocalPort(*proxy_)) return std::nullopt;
  was_named_ = true;
  return proxy_;
}

}  // namespace ctl
