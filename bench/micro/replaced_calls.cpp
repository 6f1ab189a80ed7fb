#include "bench/micro/replaced_calls.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

constexpr std::size_t kIdBytes = 2;

std::vector<char> g_Datagram;
sockaddr_in g_Sender;
char g_LastSentId[kIdBytes];

}  // namespace

namespace replaced {

void Deliver(std::vector<char> datagram, const char* sender) {
  g_Datagram = std::move(datagram);
  std::memset(&g_Sender, 0, sizeof(g_Sender));
  g_Sender.sin_family = AF_INET;
  g_Sender.sin_port = htons(40000);
  g_Sender.sin_addr.s_addr = inet_addr(sender);
}

void DeliverWithLastSentId() { std::memcpy(g_Datagram.data(), g_LastSentId, kIdBytes); }

}  // namespace replaced

// The linker sends the proxy's calls here (-Wl,--wrap).
extern "C" {

ssize_t __wrap_recvfrom(int, void* buffer, std::size_t capacity, int, sockaddr* sender,
                        socklen_t* length) {
  const std::size_t taken = std::min(capacity, g_Datagram.size());
  std::memcpy(buffer, g_Datagram.data(), taken);
  std::memcpy(sender, &g_Sender, sizeof(g_Sender));
  *length = sizeof(g_Sender);
  return static_cast<ssize_t>(taken);
}

ssize_t __wrap_sendto(int, const void* datagram, std::size_t length, int, const sockaddr*,
                      socklen_t) {
  std::memcpy(g_LastSentId, datagram, kIdBytes);
  return static_cast<ssize_t>(length);
}

ssize_t __wrap_write(int, const void*, std::size_t length) { return static_cast<ssize_t>(length); }
}
