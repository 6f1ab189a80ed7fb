#if defined(__linux__)

#include <arpa/inet.h>
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <sstream>

#include "common/platform/process_table.h"

namespace ctl {
namespace {

constexpr char kPortInTable[] = ":0035";  // 53

struct BoundSocket {
  std::string inode;
  uid_t owner;
  bool is_address_itself;  // and not one that covers it
};

std::string Of(pid_t pid, const char* what) { return "/proc/" + std::to_string(pid) + '/' + what; }

std::string Whole(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

std::vector<std::string> Numbers(const std::string& directory) {
  std::vector<std::string> names;
  DIR* listing = opendir(directory.c_str());
  if (listing == nullptr) return names;
  while (const dirent* entry = readdir(listing)) {
    if (entry->d_name[0] >= '0' && entry->d_name[0] <= '9') names.emplace_back(entry->d_name);
  }
  closedir(listing);
  return names;
}

pid_t PidOf(const std::string& name) {
  return static_cast<pid_t>(std::strtol(name.c_str(), nullptr, 10));
}

// The start of the process in clock ticks since the boot; 0 when it has ended.
std::uint64_t StartOf(pid_t pid) {
  constexpr int kFieldsBetween = 18;  // from the state to the start
  const std::string line = Whole(Of(pid, "stat"));
  const std::size_t name_end = line.rfind(')');
  if (name_end == std::string::npos) return 0;
  std::istringstream fields(line.substr(name_end + 1));
  std::string field;
  fields >> field;
  if (field == "Z" || field == "X") return 0;
  for (int skipped = 0; skipped < kFieldsBetween; ++skipped) fields >> field;
  std::uint64_t started = 0;
  fields >> started;
  return started;
}

uid_t OwnerOf(pid_t pid) {
  std::istringstream status(Whole(Of(pid, "status")));
  std::string word;
  uid_t real = 0;
  uid_t effective = 0;
  while (status >> word && word != "Uid:") {
  }
  status >> real >> effective;
  return effective;
}

// A proxy in the network of a container is not the one that is meant. Every network has a table of
// its own, which can be read without permission to look into the process.
bool IsInThisNetwork(pid_t pid) {
  struct stat theirs;
  struct stat ours;
  return stat(Of(pid, "net/udp").c_str(), &theirs) == 0 && stat("/proc/self/net/udp", &ours) == 0 &&
         theirs.st_ino == ours.st_ino;
}

bool HasNameAndNoArguments(pid_t pid) {
  if (Whole(Of(pid, "comm")) != std::string(kProxyName) + '\n') return false;
  const std::string arguments = Whole(Of(pid, "cmdline"));
  return !arguments.empty() && arguments.find('\0') == arguments.size() - 1;
}

// The sockets in a table that take what is sent to port 53 of `address`, given in network order.
// Addresses are written in hexadecimal, 32 bits at a time in the machine's order.
std::vector<BoundSocket> SocketsOnPort(const std::string& table, in_addr_t asked) {
  char digits[16];
  static_cast<void>(std::snprintf(digits, sizeof(digits), "%08X", asked));
  const std::vector<std::string> covering = {"00000000", std::string(32, '0'),
                                             "0000000000000000FFFF0000" + std::string(digits)};
  std::vector<BoundSocket> sockets;
  std::istringstream lines(Whole(table));
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::string slot, local, skipped, inode;
    uid_t owner = 0;
    fields >> slot >> local;
    for (int field = 0; field < 5; ++field) fields >> skipped;
    fields >> owner >> skipped >> inode;
    const std::size_t colon = local.find(':');
    if (colon == std::string::npos || local.substr(colon) != kPortInTable) continue;
    const std::string address = local.substr(0, colon);
    const bool is_itself = address == digits;
    if (is_itself || std::count(covering.begin(), covering.end(), address) > 0) {
      sockets.push_back({inode, owner, is_itself});
    }
  }
  return sockets;
}

// The same of both tables of this process's network.
std::vector<BoundSocket> SocketsOnPort(in_addr_t asked) {
  std::vector<BoundSocket> sockets = SocketsOnPort("/proc/self/net/udp", asked);
  const std::vector<BoundSocket> wide = SocketsOnPort("/proc/self/net/udp6", asked);
  sockets.insert(sockets.end(), wide.begin(), wide.end());
  return sockets;
}

enum class Holds { kNo, kYes, kHidden };

Holds HasOpen(pid_t pid, const std::string& inode) {
  const std::string target = "socket:[" + inode + ']';
  bool seen = false;
  for (const std::string& name : Numbers(Of(pid, "fd"))) {
    char link[64];
    const ssize_t length = readlink((Of(pid, "fd/") + name).c_str(), link, sizeof(link));
    if (length < 0) continue;
    seen = true;
    if (target == std::string(link, static_cast<std::size_t>(length))) return Holds::kYes;
  }
  return seen ? Holds::kNo : Holds::kHidden;
}

}  // namespace

std::vector<Process> ProcessesNamedAsProxy() {
  std::vector<Process> found;
  for (const std::string& number : Numbers("/proc")) {
    const pid_t pid = PidOf(number);
    if (!HasNameAndNoArguments(pid) || !IsInThisNetwork(pid)) continue;
    if (const std::uint64_t started = StartOf(pid)) found.push_back({pid, started, OwnerOf(pid)});
  }
  return found;
}

bool IsAlive(const Process& process) { return StartOf(process.pid) == process.started; }

std::vector<std::uint64_t> ThreadsOf(const Process& process) {
  std::vector<std::uint64_t> threads;
  for (const std::string& number : Numbers(Of(process.pid, "task"))) {
    threads.push_back(std::strtoull(number.c_str(), nullptr, 10));
  }
  if (!IsAlive(process)) threads.clear();
  return threads;
}

double SecondsSinceStart(const Process& process) {
  timespec up{};  // with the time that the system was suspended, as in the process's start
  clock_gettime(CLOCK_BOOTTIME, &up);
  return static_cast<double>(up.tv_sec) + static_cast<double>(up.tv_nsec) / 1e9 -
         static_cast<double>(process.started) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

std::uint64_t FileSizeLimitOf(const Process& process) {
  constexpr char kRow[] = "\nMax file size";
  const std::string limits = Whole(Of(process.pid, "limits"));
  const std::size_t row = limits.find(kRow);
  if (row == std::string::npos) return 0;
  return std::strtoull(limits.c_str() + row + sizeof(kRow) - 1, nullptr, 10);
}

bool HoldsLocalPort(const Process& process) {
  const std::vector<BoundSocket> sockets = SocketsOnPort(htonl(INADDR_LOOPBACK));
  return std::any_of(sockets.begin(), sockets.end(), [&](const BoundSocket& socket) {
    return socket.is_address_itself && socket.owner == process.owner &&
           HasOpen(process.pid, socket.inode) != Holds::kNo;
  });
}

bool SeesAllProcesses() { return true; }

PortHolder HolderOfLocalPort() {
  const std::vector<BoundSocket> sockets = SocketsOnPort(htonl(INADDR_LOOPBACK));
  if (sockets.empty()) return {false, 0, ""};
  for (const std::string& number : Numbers("/proc")) {
    const pid_t pid = PidOf(number);
    if (HasOpen(pid, sockets.front().inode) != Holds::kYes) continue;
    std::string name = Whole(Of(pid, "comm"));
    name.erase(std::remove(name.begin(), name.end(), '\n'), name.end());
    return {true, pid, name};
  }
  return {true, 0, "a process of user " + std::to_string(sockets.front().owner)};
}

bool SomebodyListens(in_addr address) { return !SocketsOnPort(address.s_addr).empty(); }

}  // namespace ctl

#endif  // __linux__
