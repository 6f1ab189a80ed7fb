#if defined(__linux__)

#include <dirent.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "companion/guard/guard.h"

// Newer than some C libraries and their headers; the numbers are the same on every machine.
#ifndef SYS_pidfd_open
#define SYS_pidfd_open 434
#endif
#ifndef SYS_pidfd_getfd
#define SYS_pidfd_getfd 438
#endif

namespace ctl {
namespace {

constexpr int kNone = -1;
constexpr std::uint16_t kPort = 53;

// The call and its error; empty when the process has only ended meanwhile, as all three calls say
// in their own ways.
std::string Refusal(const char* call) {
  if (errno == ESRCH || errno == ENOENT) return "";
  return std::string(call) + ": " + std::strerror(errno);
}

// In the order in which they were opened, as far as none was closed in between.
std::vector<int> DescriptorsOf(pid_t pid, std::string& refusal) {
  std::vector<int> numbers;
  DIR* listing = opendir(("/proc/" + std::to_string(pid) + "/fd").c_str());
  if (listing == nullptr) {
    refusal = Refusal("opendir");
    return numbers;
  }
  while (const dirent* entry = readdir(listing)) {
    if (entry->d_name[0] != '.')
      numbers.push_back(static_cast<int>(std::strtol(entry->d_name, nullptr, 10)));
  }
  closedir(listing);
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

enum class Kind { kNoUdpSocket, kToApplications, kOther };

Kind KindOf(int descriptor) {
  int type = 0;
  socklen_t type_size = sizeof(type);
  sockaddr_in bound{};
  socklen_t bound_size = sizeof(bound);
  if (getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &type_size) != 0 || type != SOCK_DGRAM ||
      getsockname(descriptor, reinterpret_cast<sockaddr*>(&bound), &bound_size) != 0 ||
      bound.sin_family != AF_INET) {
    return Kind::kNoUdpSocket;
  }
  const bool is_local =
      bound.sin_addr.s_addr == htonl(INADDR_LOOPBACK) && bound.sin_port == htons(kPort);
  return is_local ? Kind::kToApplications : Kind::kOther;
}

void CloseUnlessNone(int descriptor) {
  if (descriptor != kNone) close(descriptor);
}

}  // namespace

std::optional<ProxySockets> ProxySockets::Of(const Process& proxy, std::string& refusal) {
  const auto process = static_cast<int>(syscall(SYS_pidfd_open, proxy.pid, 0));
  if (process == kNone) {
    refusal = Refusal("pidfd_open");
    return std::nullopt;
  }
  ProxySockets sockets(kNone, kNone);
  if (IsAlive(proxy)) {
    for (const int number : DescriptorsOf(proxy.pid, refusal)) {
      const auto copy = static_cast<int>(syscall(SYS_pidfd_getfd, process, number, 0));
      if (copy == kNone && errno != EBADF) refusal = Refusal("pidfd_getfd");
      if (copy != kNone) sockets.KeepOrClose(copy);
    }
  }
  close(process);
  if (sockets.to_applications_ == kNone || sockets.to_servers_ == kNone) return std::nullopt;
  return sockets;
}

// The proxy opens the socket toward servers right after the one toward applications, so it is the
// next one. Other sockets may be inherited from what started the proxy.
void ProxySockets::KeepOrClose(int copy) {
  const Kind kind = KindOf(copy);
  if (kind == Kind::kToApplications && to_applications_ == kNone) {
    to_applications_ = copy;
  } else if (kind == Kind::kOther && to_applications_ != kNone && to_servers_ == kNone) {
    to_servers_ = copy;
  } else {
    close(copy);
  }
}

ProxySockets::ProxySockets(ProxySockets&& other) noexcept
    : to_applications_(std::exchange(other.to_applications_, kNone)),
      to_servers_(std::exchange(other.to_servers_, kNone)) {}

ProxySockets::~ProxySockets() {
  CloseUnlessNone(to_applications_);
  CloseUnlessNone(to_servers_);
}

}  // namespace ctl

#endif  // __linux__
