#include "upstream/asking/socket_calls.h"

#include <fcntl.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace upstream {
namespace {

constexpr std::size_t kMostDatagramBytes = 65535;
// At most this many datagrams that are no responses are read in a row.
constexpr int kMostSkipped = 64;

// One for all channels, since there is one thread.
std::uint8_t g_Datagram[kMostDatagramBytes];
std::size_t g_DatagramBytes = 0;

bool IsDatagramSocket(int descriptor) {
  int type = 0;
  socklen_t length = sizeof type;
  return getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &length) == 0 && type == SOCK_DGRAM;
}

}  // namespace

const ares_socket_functions SocketCalls::kCalls = {Open, Close, Connect, Receive, Send};

void SocketCalls::Install(ares_channel channel) {
  ares_set_socket_functions(channel, &kCalls, this);
}

View SocketCalls::Datagram() const { return {g_Datagram, g_DatagramBytes}; }

ares_socket_t SocketCalls::Open(int family, int type, int protocol, void* /*self*/) {
  const int descriptor = socket(family, type, protocol);
  if (descriptor < 0) return ARES_SOCKET_BAD;
  const int on = 1;
  if (fcntl(descriptor, F_SETFL, O_NONBLOCK) != 0 || fcntl(descriptor, F_SETFD, FD_CLOEXEC) != 0 ||
      (type == SOCK_STREAM &&
       setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) != 0)) {
    close(descriptor);
    return ARES_SOCKET_BAD;
  }
  return descriptor;
}

int SocketCalls::Close(ares_socket_t descriptor, void* /*self*/) { return close(descriptor); }

int SocketCalls::Connect(ares_socket_t descriptor, const sockaddr* address, ares_socklen_t length,
                         void* self) {
  const std::uint32_t scope = static_cast<SocketCalls*>(self)->server_.scope;
  if (scope == 0) return connect(descriptor, address, length);
  sockaddr_in6 scoped{};
  std::memcpy(&scoped, address, std::min<std::size_t>(length, sizeof scoped));
  scoped.sin6_scope_id = scope;
  return connect(descriptor, reinterpret_cast<const sockaddr*>(&scoped), sizeof scoped);
}

ares_ssize_t SocketCalls::Receive(ares_socket_t descriptor, void* bytes, size_t count, int flags,
                                  sockaddr* from, ares_socklen_t* from_length, void* self) {
  // The library asks for the sender of datagrams only.
  if (from == nullptr) return recv(descriptor, bytes, count, flags);
  const socklen_t room = *from_length;
  for (int skipped = 0; skipped < kMostSkipped; ++skipped) {
    *from_length = room;
    const ssize_t received =
        recvfrom(descriptor, g_Datagram, sizeof g_Datagram, flags, from, from_length);
    if (received < 0) return received;
    g_DatagramBytes = static_cast<std::size_t>(received);
    if (!HasHeader({g_Datagram, g_DatagramBytes}) || !IsResponse({g_Datagram, g_DatagramBytes})) {
      continue;
    }
    static_cast<SocketCalls*>(self)->has_read_ = true;
    const std::size_t taken = std::min(g_DatagramBytes, count);
    std::memcpy(bytes, g_Datagram, taken);
    return static_cast<ares_ssize_t>(taken);
  }
  errno = EAGAIN;
  return -1;
}

ares_ssize_t SocketCalls::Send(ares_socket_t descriptor, const iovec* parts, int count,
                               void* /*self*/) {
  const ssize_t sent = writev(descriptor, parts, count);
  if (sent >= 0 || (errno != EAGAIN && errno != ENOBUFS) || !IsDatagramSocket(descriptor))
    return sent;
  // A datagram that finds no room counts as lost on the way and is repeated like one. The library
  // would otherwise use up all of its tries at once.
  return static_cast<ares_ssize_t>(parts[0].iov_len);
}

}  // namespace upstream
