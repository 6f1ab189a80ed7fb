#pragma once

#include <netinet/in.h>
#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ctl {

inline constexpr char kProxyName[] = "dns_proxy_mac";

/// A proxy that serves has three threads: the one that waits, the answer thread and the query
/// thread, created in this order. It has fewer while it starts and, for a moment, while it ends.
inline constexpr std::size_t kThreadsOfServingProxy = 3;

// The system's tables of processes and sockets: everything in which macOS and Linux differ for this
// program. What can't be read is left out, be it for lack of permission or because it has just
// gone.

struct Process {
  pid_t pid;
  /// When it was started, in a unit of the system's own. With the id it names a process for good.
  std::uint64_t started;
  uid_t owner;
};

/// Processes in this process's network that go by the proxy's name and were started without
/// arguments, as the proxy is.
std::vector<Process> ProcessesNamedAsProxy();

/// Whether it has neither ended nor been replaced by another process of the same id.
bool IsAlive(const Process& process);

/// Its threads in the order of their creation; empty when it has ended.
std::vector<std::uint64_t> ThreadsOf(const Process& process);

double SecondsSinceStart(const Process& process);

/// How large a file it may write, in bytes; 0 when there is no limit or it is not known, as on
/// macOS.
std::uint64_t FileSizeLimitOf(const Process& process);

/// Whether it holds 127.0.0.1:53, as far as can be seen: without the right to look into the
/// process, the owner of the socket decides.
bool HoldsLocalPort(const Process& process);

/// The proxy: the process that has its name and holds its port. Otherwise a process that has its
/// name, which is starting or ending. Nothing when there is neither.
std::optional<Process> FindProxy();

/// Whether a proxy, or a holder of the port, that is not found does not exist. Where this is false,
/// it may belong to another user.
bool SeesAllProcesses();

/// What keeps the proxy from binding 127.0.0.1:53.
struct PortHolder {
  bool is_held;
  pid_t pid;         ///< 0 when it can't be seen
  std::string name;  ///< of the process, or what is known of it instead
};
PortHolder HolderOfLocalPort();

/// Whether a socket takes what is sent to UDP port 53 of `address`, one of this host's. True also
/// when that can't be seen.
bool SomebodyListens(in_addr address);

/// Whether `address` is a loopback address or belongs to an interface of this host, as far as can
/// be seen.
bool IsOwnAddress(in_addr address);

}  // namespace ctl
