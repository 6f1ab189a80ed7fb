#include "tests/fuzz/substituted_sockets.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tests/fuzz/check.h"

namespace {

constexpr std::size_t kReceiveBuffer = 8192;

struct State {
  bool pending = false;
  bool receive_fails = false;
  int sock = -1;
  std::string datagram;
  Sender sender;
  bool applications_refused = false;
  bool servers_refused = false;
  std::vector<SentDatagram> sent;
};

State g_State;

}  // namespace

Sender Ipv4Sender(const std::string& address, std::uint16_t port) {
  sockaddr_in ipv4 = {};
  ipv4.sin_family = AF_INET;
  ipv4.sin_port = htons(port);
  CHECK(inet_pton(AF_INET, address.c_str(), &ipv4.sin_addr) == 1);
  Sender sender;
  sender.length = sizeof(ipv4);
  std::memcpy(&sender.address, &ipv4, sizeof(ipv4));
  return sender;
}

Sender Ipv6Sender(const std::string& address, std::uint16_t port) {
  Sender sender;
  sender.length = sizeof(sender.address);
  sender.address.sin6_family = AF_INET6;
  sender.address.sin6_port = htons(port);
  CHECK(inet_pton(AF_INET6, address.c_str(), &sender.address.sin6_addr) == 1);
  return sender;
}

Sender NamelessSender() {
  Sender sender;
  sender.length = sizeof(sockaddr);
  sender.address.sin6_family = AF_UNIX;
  return sender;
}

namespace substituted_sockets {

void Reset() { g_State = State(); }

void Deliver(int sock, const std::string& datagram, const Sender& sender) {
  g_State.pending = true;
  g_State.receive_fails = false;
  g_State.sock = sock;
  g_State.datagram = datagram;
  g_State.sender = sender;
}

void DeliverFailure(int sock) {
  g_State.pending = true;
  g_State.receive_fails = true;
  g_State.sock = sock;
}

void RefuseSends(int sock) {
  (sock == kApplicationsSocket ? g_State.applications_refused : g_State.servers_refused) = true;
}

bool DeliveryTaken() { return !g_State.pending; }

const std::vector<SentDatagram>& Sent() { return g_State.sent; }

}  // namespace substituted_sockets

extern "C" {

// NOLINTNEXTLINE(clang-diagnostic-reserved-identifier): the name that the linker's --wrap gives it
ssize_t __wrap_recvfrom(int sock, void* buffer, std::size_t capacity, int flags, sockaddr* address,
                        socklen_t* length) {
  CHECK(g_State.pending && sock == g_State.sock);
  CHECK(capacity == kReceiveBuffer && flags == 0 && *length == sizeof(sockaddr_in6));
  g_State.pending = false;
  if (g_State.receive_fails) {
    errno = ECONNREFUSED;
    return -1;
  }
  const std::size_t size = std::min(g_State.datagram.size(), capacity);
  std::memcpy(buffer, g_State.datagram.data(), size);
  std::memcpy(address, &g_State.sender.address, g_State.sender.length);
  *length = g_State.sender.length;
  return static_cast<ssize_t>(size);
}

// NOLINTNEXTLINE(clang-diagnostic-reserved-identifier): the name that the linker's --wrap gives it
ssize_t __wrap_sendto(int sock, const void* datagram, std::size_t size, int flags,
                      const sockaddr* address, socklen_t length) {
  CHECK(sock == kApplicationsSocket || sock == kServersSocket);
  CHECK(flags == 0);
  CHECK(length == (address->sa_family == AF_INET ? 16 : 28));
  g_State.sent.push_back({sock,
                          {static_cast<const char*>(datagram), size},
                          {reinterpret_cast<const char*>(address), length}});
  if (sock == kApplicationsSocket ? g_State.applications_refused : g_State.servers_refused) {
    errno = EHOSTUNREACH;
    return -1;
  }
  return static_cast<ssize_t>(size);
}

}  // extern "C"
