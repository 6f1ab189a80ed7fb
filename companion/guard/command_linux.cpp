#if defined(__linux__)

#include <signal.h>  // NOLINT(modernize-deprecated-headers): kill is the system's

#include <cerrno>
#include <chrono>
#include <cstring>
#include <optional>
#include <thread>

#include "common/output/exit_status.h"
#include "common/output/output.h"
#include "companion/commands.h"
#include "companion/guard/guard.h"
#include "companion/guard/socket_filter.h"

namespace ctl {
namespace {

using Clock = std::chrono::steady_clock;

// A starting proxy first reads its files, which takes a second for a host map of a million entries.
constexpr std::chrono::seconds kLongestStart(10);
constexpr std::chrono::milliseconds kBetweenLooks(2);

// What starts a program takes it for started as soon as the old program's descriptors are closed.
// The name and the arguments are the new program's only when that is loaded.
constexpr std::chrono::seconds kLongestLoading(5);

int Refuse(const std::string& why) {
  Complain("The proxy's sockets are not guarded: " + why + '.');
  return kNo;
}

std::string Named(const Process& proxy) { return "process " + std::to_string(proxy.pid); }

bool Exists(pid_t pid) { return kill(pid, 0) == 0 || errno != ESRCH; }

std::optional<Process> Find(pid_t pid) {
  if (pid == 0) return FindProxy();
  const Clock::time_point end = Clock::now() + kLongestLoading;
  do {
    for (const Process& process : ProcessesNamedAsProxy()) {
      if (process.pid == pid) return process;
    }
    std::this_thread::sleep_for(kBetweenLooks);
  } while (Exists(pid) && Clock::now() < end);
  return std::nullopt;
}

std::optional<ProxySockets> TakeHold(const Process& proxy, std::string& refusal) {
  const Clock::time_point end = Clock::now() + kLongestStart;
  while (IsAlive(proxy) && Clock::now() < end) {
    std::optional<ProxySockets> sockets = ProxySockets::Of(proxy, refusal);
    if (sockets || !refusal.empty()) return sockets;
    std::this_thread::sleep_for(kBetweenLooks);
  }
  refusal = Named(proxy) + (IsAlive(proxy) ? " does not bind its port" : " has ended");
  return std::nullopt;
}

// An error number, or 0.
int Guard(const ProxySockets& sockets, const Process& proxy) {
  const int error = AttachFilter(sockets.to_applications(), {WhatEndsIntake(), std::nullopt});
  return error != 0 ? error
                    : AttachFilter(sockets.to_servers(), {WhatEndsRelay(), KnownSenders(proxy)});
}

int Unguard(const ProxySockets& sockets) {
  const int error = DetachFilter(sockets.to_applications());
  return error != 0 ? error : DetachFilter(sockets.to_servers());
}

}  // namespace

int RunGuard(const GuardOptions& options) {
  const std::optional<Process> proxy = Find(options.pid);
  if (!proxy) {
    return Refuse(options.pid == 0 ? "no proxy runs"
                                   : Named({options.pid, 0, 0}) + " is no proxy of this network");
  }
  std::string refusal;
  const std::optional<ProxySockets> sockets = TakeHold(*proxy, refusal);
  if (!sockets) return Refuse(refusal);
  const int error = options.remove ? Unguard(*sockets) : Guard(*sockets, *proxy);
  if (error != 0) return Refuse(std::string("setsockopt: ") + std::strerror(error));
  return kOk;
}

std::string GuardInWords(const Process& proxy) {
  std::string refusal;
  const std::optional<ProxySockets> sockets = ProxySockets::Of(proxy, refusal);
  if (!sockets) return "not known; root can see";
  const FilterState to_applications = FilterOn(sockets->to_applications(), WhatEndsIntake());
  const FilterState to_servers = FilterOn(sockets->to_servers(), WhatEndsRelay());
  const auto both = [&](FilterState state) {
    return to_applications == state && to_servers == state;
  };
  if (both(FilterState::kThese)) return "on";
  if (both(FilterState::kNone)) return "off: a malformed datagram ends the intake";
  if (both(FilterState::kUnknown)) return "not known: the system does not tell";
  return "not as this program puts it on: renew it with dns_proxy_ctl guard";
}

}  // namespace ctl

#endif  // __linux__
