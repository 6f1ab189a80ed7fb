#if defined(__APPLE__)

#include <arpa/inet.h>
#include <libproc.h>
#include <sys/sysctl.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "common/platform/process_table.h"

namespace ctl {
namespace {

constexpr int kPort = 53;

bool ReadBsdInfo(pid_t pid, proc_bsdinfo& info) {
  return proc_pidinfo(pid, PROC_PIDTBSDINFO, 0, &info, sizeof(info)) == sizeof(info);
}

std::uint64_t StartOf(const proc_bsdinfo& info) {
  return info.pbi_start_tvsec * 1000000 + info.pbi_start_tvusec;
}

std::vector<pid_t> AllProcesses() {
  std::vector<pid_t> pids(static_cast<std::size_t>(std::max(proc_listallpids(nullptr, 0), 0)) + 64);
  const int count = proc_listallpids(pids.data(), static_cast<int>(pids.size() * sizeof(pid_t)));
  pids.resize(static_cast<std::size_t>(std::max(count, 0)));
  return pids;
}

int ArgumentCount(pid_t pid) {
  int name[] = {CTL_KERN, KERN_PROCARGS2, pid};
  std::vector<char> arguments(static_cast<std::size_t>(sysconf(_SC_ARG_MAX)));
  std::size_t size = arguments.size();
  int count = 0;
  if (sysctl(name, 3, arguments.data(), &size, nullptr, 0) == 0 && size >= sizeof(count)) {
    std::memcpy(&count, arguments.data(), sizeof(count));
  }
  return count;
}

enum class Bound { kToIt, kToItOrCoveringIt };

// Whether the socket has port 53 of `asked`, given in network order.
bool IsOnPort(const socket_fdinfo& info, in_addr_t asked, Bound wanted) {
  const socket_info& socket = info.psi;
  if (socket.soi_kind != SOCKINFO_IN || socket.soi_protocol != IPPROTO_UDP) return false;
  const in_sockinfo& bound = socket.soi_proto.pri_in;
  if (ntohs(static_cast<std::uint16_t>(bound.insi_lport)) != kPort) return false;
  // A socket of IPv6 that takes IPv4 as well is marked as one of both.
  if ((bound.insi_vflag & INI_IPV4) == 0) return false;
  const in_addr_t address = bound.insi_laddr.ina_46.i46a_addr4.s_addr;
  return address == asked || (wanted == Bound::kToItOrCoveringIt && address == htonl(INADDR_ANY));
}

bool HasPort(pid_t pid, in_addr_t asked, Bound wanted) {
  const int size = proc_pidinfo(pid, PROC_PIDLISTFDS, 0, nullptr, 0);
  std::vector<proc_fdinfo> files(static_cast<std::size_t>(std::max(size, 0)) / sizeof(proc_fdinfo));
  const int got = proc_pidinfo(pid, PROC_PIDLISTFDS, 0, files.data(), size);
  files.resize(static_cast<std::size_t>(std::max(got, 0)) / sizeof(proc_fdinfo));
  return std::any_of(files.begin(), files.end(), [pid, asked, wanted](const proc_fdinfo& file) {
    socket_fdinfo info;
    return file.proc_fdtype == PROX_FDTYPE_SOCKET &&
           proc_pidfdinfo(pid, file.proc_fd, PROC_PIDFDSOCKETINFO, &info, sizeof(info)) ==
               sizeof(info) &&
           IsOnPort(info, asked, wanted);
  });
}

}  // namespace

std::vector<Process> ProcessesNamedAsProxy() {
  std::vector<Process> found;
  for (const pid_t pid : AllProcesses()) {
    proc_bsdinfo info;
    if (!ReadBsdInfo(pid, info) || std::strcmp(info.pbi_name, kProxyName) != 0) continue;
    if (ArgumentCount(pid) == 1) found.push_back({pid, StartOf(info), info.pbi_uid});
  }
  return found;
}

bool IsAlive(const Process& process) {
  proc_bsdinfo info;
  return ReadBsdInfo(process.pid, info) && StartOf(info) == process.started;
}

std::vector<std::uint64_t> ThreadsOf(const Process& process) {
  std::vector<std::uint64_t> threads(64);
  const int size = static_cast<int>(threads.size() * sizeof(std::uint64_t));
  const int got = proc_pidinfo(process.pid, PROC_PIDLISTTHREADS, 0, threads.data(), size);
  threads.resize(static_cast<std::size_t>(std::max(got, 0)) / sizeof(std::uint64_t));
  if (!IsAlive(process)) threads.clear();
  return threads;
}

double SecondsSinceStart(const Process& process) {
  timeval now;
  gettimeofday(&now, nullptr);
  return static_cast<double>(now.tv_sec) - static_cast<double>(process.started / 1000000);
}

std::uint64_t FileSizeLimitOf(const Process& process) {
  static_cast<void>(process);
  return 0;
}

bool HoldsLocalPort(const Process& process) {
  return HasPort(process.pid, htonl(INADDR_LOOPBACK), Bound::kToIt);
}

// Only root gets to know of another user's process.
bool SeesAllProcesses() { return geteuid() == 0; }

PortHolder HolderOfLocalPort() {
  for (const pid_t pid : AllProcesses()) {
    if (!HasPort(pid, htonl(INADDR_LOOPBACK), Bound::kToItOrCoveringIt)) continue;
    char name[2 * MAXCOMLEN + 1] = "";
    proc_name(pid, name, sizeof(name));
    return {true, pid, name};
  }
  return {false, 0, ""};
}

bool SomebodyListens(in_addr address) {
  if (!SeesAllProcesses()) return true;
  const std::vector<pid_t> processes = AllProcesses();
  return std::any_of(processes.begin(), processes.end(), [address](pid_t pid) {
    return HasPort(pid, address.s_addr, Bound::kToItOrCoveringIt);
  });
}

}  // namespace ctl

#endif  // __APPLE__
