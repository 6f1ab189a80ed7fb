#include "tests/guard/twins.h"

#include <netinet/in.h>
#include <netinet/udp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "companion/guard/socket_filter.h"

#ifndef UDP_SEGMENT
#define UDP_SEGMENT 103
#endif

namespace {

constexpr std::size_t kLargestMessage = 65536;
constexpr std::size_t kUndivided = 0;

[[noreturn]] void Fail(const char* what) {
  std::fprintf(stderr, "%s: %s\n", what, std::strerror(errno));
  std::exit(2);
}

void Check(bool holds, const char* what) {
  if (!holds) Fail(what);
}

sockaddr_in Loopback() {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

int BoundSocket() {
  const int made = socket(AF_INET, SOCK_DGRAM, 0);
  const sockaddr_in address = Loopback();
  Check(made != -1, "socket");
  Check(bind(made, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0, "bind");
  return made;
}

void Send(int from, int to, Datagram bytes, std::size_t segment_size) {
  sockaddr_in address{};
  socklen_t size = sizeof(address);
  Check(getsockname(to, reinterpret_cast<sockaddr*>(&address), &size) == 0, "getsockname");
  iovec part{bytes.data(), bytes.size()};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(std::uint16_t))] = {};
  msghdr message{};
  message.msg_name = &address;
  message.msg_namelen = size;
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  if (segment_size != kUndivided) {
    message.msg_control = control;
    message.msg_controllen = sizeof(control);
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_UDP;
    header->cmsg_type = UDP_SEGMENT;
    header->cmsg_len = CMSG_LEN(sizeof(std::uint16_t));
    const auto value = static_cast<std::uint16_t>(segment_size);
    std::memcpy(CMSG_DATA(header), &value, sizeof(value));
  }
  Check(sendmsg(from, &message, 0) == static_cast<ssize_t>(bytes.size()), "sendmsg");
}

// What no condition keeps out and no other sender sends: it ends what is read at a time.
Datagram Marker() { return GoodQuery() + "the end of these"; }

[[noreturn]] void TellDifference(const Datagram& datagram, bool ends, bool got_in) {
  std::fprintf(stderr, "%zu bytes, for which the proxy %s, %s:", datagram.size(),
               ends ? "ends its thread" : "goes on",
               got_in ? "got in whole" : "were kept out or changed");
  for (const char byte : datagram)
    std::fprintf(stderr, " %02x", static_cast<unsigned>(byte) & 0xFF);
  std::fprintf(stderr, "\n");
  std::exit(1);
}

}  // namespace

Twins::Twins(const std::vector<ctl::Condition>& keep_out, Handler handler)
    : handler_(handler),
      unguarded_(BoundSocket()),
      guarded_(BoundSocket()),
      sender_(BoundSocket()) {
  errno = ctl::AttachFilter(guarded_, {keep_out, std::nullopt});
  Check(errno == 0, "the filter");
}

Twins::~Twins() {
  for (const int socket : {unguarded_, guarded_, sender_}) close(socket);
}

void Twins::SendToBoth(const Datagram& bytes, std::size_t segment_size) {
  Send(sender_, unguarded_, bytes, segment_size);
  Send(sender_, guarded_, bytes, segment_size);
}

void Twins::Compare(const Datagram& datagram) {
  SendToBoth(datagram, kUndivided);
  CompareVerdicts({datagram});
}

void Twins::CompareSegments(const std::vector<Datagram>& segments) {
  Datagram whole;
  for (const Datagram& segment : segments) whole += segment;
  SendToBoth(whole, segments.front().size());
  CompareVerdicts(segments);
}

void Twins::CompareVerdicts(const std::vector<Datagram>& sent) {
  const std::vector<Datagram> let_in = LetIn();
  std::size_t next = 0;
  for (const Datagram& datagram : sent) {
    const bool ends = handler_(unguarded_) == 0;
    const bool got_in = next < let_in.size() && let_in[next] == datagram;
    if (ends) {
      ++kept_out_;
    } else if (!got_in) {
      TellDifference(datagram, ends, got_in);
    } else {
      ++next;
    }
    ++compared_;
  }
  if (next < let_in.size()) TellDifference(let_in[next], true, true);
}

std::vector<Datagram> Twins::LetIn() {
  static char bytes[kLargestMessage];
  Send(sender_, guarded_, Marker(), kUndivided);
  std::vector<Datagram> let_in;
  for (;;) {
    const ssize_t length = recv(guarded_, bytes, sizeof(bytes), 0);
    Check(length >= 0, "recv");
    let_in.emplace_back(bytes, static_cast<std::size_t>(length));
    if (let_in.back() == Marker()) break;
  }
  let_in.pop_back();
  return let_in;
}
