#include "tests/unit/udp_peer.h"

#include <arpa/inet.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>
#ifdef __linux__
#include <linux/sock_diag.h>
#endif

#include <cerrno>
#include <system_error>

namespace {

constexpr std::size_t kLargestDatagram = 65536;
constexpr timeval kPatience{60, 0};

[[noreturn]] void Fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

int BoundSocket(const char* address, std::uint16_t port) {
  const int sock = socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in local{};
  local.sin_family = AF_INET;
  local.sin_port = htons(port);
  local.sin_addr.s_addr = inet_addr(address);
  if (bind(sock, reinterpret_cast<const sockaddr*>(&local), sizeof(local)) != 0) Fail("bind");
  setsockopt(sock, SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof(kPatience));
  return sock;
}

sockaddr_in AddressOfSocket(int sock) {
  sockaddr_in address{};
  socklen_t length = sizeof(address);
  if (getsockname(sock, reinterpret_cast<sockaddr*>(&address), &length) != 0) Fail("getsockname");
  return address;
}

UdpPeer::UdpPeer(const char* address, std::uint16_t port) : sock_(BoundSocket(address, port)) {}

UdpPeer::~UdpPeer() { close(sock_); }

void UdpPeer::Send(const Wire& datagram, const sockaddr_in& to) const {
  sockaddr_in name = to;
  iovec part{const_cast<char*>(datagram.bytes.data()), datagram.bytes.size()};
  msghdr message{};
  message.msg_name = &name;
  message.msg_namelen = sizeof(name);
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  if (sendmsg(sock_, &message, 0) == -1) Fail("sendmsg");
}

Wire UdpPeer::Receive() {
  Wire datagram = Repeated(kLargestDatagram, 0);
  iovec part{datagram.bytes.data(), datagram.bytes.size()};
  msghdr message{};
  message.msg_name = &last_sender;
  message.msg_namelen = sizeof(last_sender);
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  const ssize_t length = recvmsg(sock_, &message, 0);
  if (length == -1) Fail("nothing came");
  datagram.bytes.resize(static_cast<std::size_t>(length));
  return datagram;
}

bool UdpPeer::HasNothing() const {
  char byte = 0;
  return recv(sock_, &byte, sizeof(byte), MSG_PEEK | MSG_DONTWAIT) == -1 && errno == EAGAIN;
}

sockaddr_in UdpPeer::Address() const { return AddressOfSocket(sock_); }

#ifdef __linux__
std::uint32_t MemoryOfWaiting(int sock) {
  std::uint32_t memory[SK_MEMINFO_VARS] = {};
  socklen_t length = sizeof(memory);
  if (getsockopt(sock, SOL_SOCKET, SO_MEMINFO, memory, &length) != 0) Fail("getsockopt");
  return memory[SK_MEMINFO_RMEM_ALLOC];
}
#else
// macOS counts all that waits, with the senders' addresses; Linux would count the first datagram
// alone.
std::uint32_t MemoryOfWaiting(int sock) {
  int bytes = 0;
  if (ioctl(sock, FIONREAD, &bytes) != 0) Fail("ioctl");
  return static_cast<std::uint32_t>(bytes);
}
#endif
