#include "companion/watch/command.h"

#include <signal.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "common/output/exit_status.h"
#include "common/output/output.h"
#include "companion/watch/watcher.h"

namespace ctl {
namespace {

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
  for (;;) {
    if (const auto proxy = watcher.Look(); proxy && !End(*proxy)) return kNo;
    std::this_thread::sleep_for(kBetweenLooks);
  }
}

}  // namespace ctl
