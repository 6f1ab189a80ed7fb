#include "tests/stress/upstreams.h"

#include <poll.h>

#include <array>

namespace {

constexpr std::uint16_t kPort = 53;
constexpr std::size_t kMostHeld = 6;
constexpr int kPauseMs = 1;

}  // namespace

Upstreams::Upstreams()
    : server_a_(BoundSocket("127.0.0.2", kPort)),
      server_b_(BoundSocket("127.0.0.3", kPort)),
      stranger_(BoundSocket("127.0.0.9", kPort)) {}

void Upstreams::ServeUntil(const std::function<bool()>& is_over) {
  Message query;
  while (!is_over()) {
    std::array<pollfd, 2> sockets{{{server_a_, POLLIN, 0}, {server_b_, POLLIN, 0}}};
    if (poll(sockets.data(), sockets.size(), kPauseMs) == 0) ReleaseHeld();
    if (sockets[0].revents != 0 && Receive(server_a_, 0, query, proxy_)) ServeA(query, proxy_);
    if (sockets[1].revents != 0 && Receive(server_b_, 0, query, proxy_)) ServeB(query, proxy_);
  }
}

void Upstreams::EndProxy() const { Send(server_a_, "eleven byte", proxy_); }

void Upstreams::ServeA(const Message& query, const sockaddr_in& proxy) {
  const Message answer = Answer(query, kSaltA);
  switch (PathOf(query)) {
    case Path::kReordered:
      held_.push_back({answer, proxy});
      if (held_.size() >= kMostHeld) ReleaseHeld();
      break;
    case Path::kTwice:
      Send(server_a_, answer, proxy);
      Send(server_a_, answer, proxy);
      break;
    case Path::kForeign:
      Send(stranger_, Answer(query, kSaltStranger), proxy);
      Send(server_a_, answer, proxy);
      break;
    case Path::kSecond:
    case Path::kNobody:
      Send(server_a_, EmptyResponse(query), proxy);
      break;
    case Path::kStuck:
      ServeStuck(query, proxy);
      break;
    default:
      Send(server_a_, answer, proxy);
  }
}

void Upstreams::ServeB(const Message& query, const sockaddr_in& proxy) {
  if (PathOf(query) == Path::kSecond) {
    Send(server_b_, Answer(query, kSaltB), proxy);
  } else {
    Send(server_b_, EmptyResponse(query), proxy);
  }
}

void Upstreams::ServeStuck(const Message& query, const sockaddr_in& proxy) {
  if (stuck_.insert(query).second) return;
  ++wraps_;
  Send(server_a_, Answer(query, kSaltA), proxy);
}

void Upstreams::ReleaseHeld() {
  for (auto last = held_.rbegin(); last != held_.rend(); ++last) {
    Send(server_a_, last->response, last->to);
  }
  held_.clear();
}
