#include "tests/macos/fake_macos.h"

#include <arpa/inet.h>
#include <sys/sysctl.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace fake_macos {
namespace {

std::vector<PlayedProcess> g_Processes;

const PlayedProcess* Find(pid_t pid) {
  const auto found = std::find_if(g_Processes.begin(), g_Processes.end(),
                                  [pid](const auto& process) { return process.pid == pid; });
  return found == g_Processes.end() || found->hidden ? nullptr : &*found;
}

// As much of `items` as there is room for; the result is the number of bytes. Without a buffer, the
// room that all of them need and some more, as the kernel estimates it.
template <typename Item>
int Handed(const std::vector<Item>& items, void* buffer, int size) {
  constexpr std::size_t kMore = 20;
  if (buffer == nullptr) return static_cast<int>((items.size() + kMore) * sizeof(Item));
  const std::size_t count = std::min(items.size(), static_cast<std::size_t>(size) / sizeof(Item));
  if (count > 0) std::memcpy(buffer, items.data(), count * sizeof(Item));
  return static_cast<int>(count * sizeof(Item));
}

proc_bsdinfo InfoOf(const PlayedProcess& process) {
  proc_bsdinfo info{};
  info.pbi_pid = static_cast<std::uint32_t>(process.pid);
  info.pbi_uid = process.owner;
  process.name.copy(info.pbi_comm, sizeof(info.pbi_comm) - 1);
  process.name.copy(info.pbi_name, sizeof(info.pbi_name) - 1);
  info.pbi_start_tvsec = process.start_seconds;
  info.pbi_start_tvusec = process.start_microseconds;
  return info;
}

std::vector<proc_fdinfo> DescriptorsOf(const PlayedProcess& process) {
  std::vector<proc_fdinfo> listed;
  for (const Descriptor& descriptor : process.descriptors) {
    listed.push_back({static_cast<std::int32_t>(listed.size()), descriptor.type});
  }
  return listed;
}

Descriptor SocketOnPort(std::uint16_t port) {
  Descriptor descriptor{PROX_FDTYPE_SOCKET, {}};
  descriptor.socket.soi_type = SOCK_DGRAM;
  descriptor.socket.soi_protocol = IPPROTO_UDP;
  descriptor.socket.soi_kind = SOCKINFO_IN;
  descriptor.socket.soi_proto.pri_in.insi_lport = htons(port);
  return descriptor;
}

}  // namespace

Descriptor UdpSocket(const char* address, std::uint16_t port) {
  Descriptor descriptor = SocketOnPort(port);
  in_sockinfo& bound = descriptor.socket.soi_proto.pri_in;
  descriptor.socket.soi_family = 2;
  bound.insi_vflag = INI_IPV4;
  bound.insi_laddr.ina_46.i46a_addr4.s_addr = inet_addr(address);
  return descriptor;
}

Descriptor UdpSocketOfIpv6(std::uint16_t port, bool alone) {
  Descriptor descriptor = SocketOnPort(port);
  descriptor.socket.soi_family = 30;
  descriptor.socket.soi_proto.pri_in.insi_vflag = alone ? INI_IPV6 : INI_IPV4 | INI_IPV6;
  return descriptor;
}

Descriptor File() { return {PROX_FDTYPE_VNODE, {}}; }

void Play(std::vector<PlayedProcess> processes) { g_Processes = std::move(processes); }

}  // namespace fake_macos

using fake_macos::DescriptorsOf;
using fake_macos::Find;
using fake_macos::Handed;
using fake_macos::InfoOf;

extern "C" {

int proc_listallpids(void* buffer, int size) {
  std::vector<pid_t> pids;
  for (const auto& process : fake_macos::g_Processes) pids.push_back(process.pid);
  return Handed(pids, buffer, size) / static_cast<int>(sizeof(pid_t));
}

int proc_pidinfo(int pid, int flavor, std::uint64_t /*argument*/, void* buffer, int size) {
  const auto* process = Find(pid);
  if (process == nullptr) return 0;
  switch (flavor) {
    case PROC_PIDTBSDINFO:
      return Handed(std::vector<proc_bsdinfo>{InfoOf(*process)}, buffer, size);
    case PROC_PIDLISTTHREADS:
      return Handed(process->threads, buffer, size);
    case PROC_PIDLISTFDS:
      return Handed(DescriptorsOf(*process), buffer, size);
    default:
      return 0;
  }
}

int proc_pidfdinfo(int pid, int descriptor, int flavor, void* buffer, int size) {
  const auto* process = Find(pid);
  if (process == nullptr || flavor != PROC_PIDFDSOCKETINFO) return 0;
  const socket_fdinfo info{process->descriptors.at(static_cast<std::size_t>(descriptor)).socket};
  return Handed(std::vector<socket_fdinfo>{info}, buffer, size);
}

int proc_name(int pid, void* buffer, std::uint32_t size) {
  const auto* process = Find(pid);
  if (process == nullptr) return 0;
  const std::size_t length = process->name.copy(static_cast<char*>(buffer), size - 1);
  static_cast<char*>(buffer)[length] = 0;
  return static_cast<int>(length);
}

int sysctl(int* name, unsigned count, void* old, std::size_t* old_size, void* /*wanted*/,
           std::size_t /*wanted_size*/) {
  if (count != 3 || name[0] != CTL_KERN || name[1] != KERN_PROCARGS2) return -1;
  const auto* process = Find(name[2]);
  if (process == nullptr || *old_size < sizeof(int)) return -1;
  std::memcpy(old, &process->argument_count, sizeof(int));
  return 0;
}

}  // extern "C"
