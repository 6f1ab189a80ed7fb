#include "upstream/relay/listener.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <system_error>

namespace upstream {
namespace {

constexpr std::uint16_t kDnsPort = 53;
constexpr std::uint16_t kFirstPortOfApplications = 1024;
// A burst of some thousand queries, while the program does something else.
constexpr int kReceiveBufferBytes = 4 << 20;
// A bound, so that the servers' responses get their turn in the loop.
constexpr int kMostReadsInATurn = 64;

[[noreturn]] void Fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

int OpenSocket(const char* text) {
  const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
  if (descriptor < 0) Fail("no socket");
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(kDnsPort);
  inet_pton(AF_INET, text, &address.sin_addr);
  fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &kReceiveBufferBytes, sizeof kReceiveBufferBytes);
  if (fcntl(descriptor, F_SETFL, O_NONBLOCK) != 0 ||
      bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    const int error = errno;
    close(descriptor);
    errno = error;
    Fail(std::string(text) + " port 53 cannot be had");
  }
  return descriptor;
}

bool MayAsk(const sockaddr_in& sender) {
  return (ntohl(sender.sin_addr.s_addr) >> 24) == IN_LOOPBACKNET &&
         ntohs(sender.sin_port) >= kFirstPortOfApplications;
}

}  // namespace

Listener::Listener(EventLoop& loop, Queries& queries) : loop_(loop), queries_(queries) {
  for (std::size_t place = 0; place < sockets_.size(); ++place) {
    // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): there are as many addresses as sockets
    sockets_[place] = OpenSocket(kListenAddresses[place]);
    loop_.Watch(sockets_[place], true, false, *this);
  }
}

Listener::~Listener() {
  for (const int descriptor : sockets_) {
    loop_.Watch(descriptor, false, false, *this);
    close(descriptor);
  }
}

void Listener::Respond(const Asker& asker, View response) {
  // A failure is the asker's fault: its socket is gone or full.
  sendto(sockets_[asker.place], response.bytes, response.count, 0,
         reinterpret_cast<const sockaddr*>(&asker.address), sizeof asker.address);
}

void Listener::Ready(int descriptor, bool /*readable*/, bool /*writable*/) {
  Asker asker;
  asker.place = static_cast<std::size_t>(std::find(sockets_.begin(), sockets_.end(), descriptor) -
                                         sockets_.begin());
  for (int reads = 0; reads < kMostReadsInATurn; ++reads) {
    sockaddr_in sender{};
    socklen_t length = sizeof sender;
    const ssize_t received = recvfrom(descriptor, received_.data(), received_.size(), 0,
                                      reinterpret_cast<sockaddr*>(&sender), &length);
    if (received < 0) return;
    asker.address = sender;
    const View query{received_.data(), static_cast<std::size_t>(received)};
    if (HasHeader(query) && query.count <= kMostMessageBytes && MayAsk(sender)) {
      queries_.Asked(asker, query);
    }
  }
}

}  // namespace upstream
