#include "page/http/server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <vector>

#include "common/output/clock.h"
#include "page/http/admission.h"

namespace page {
namespace {

constexpr std::size_t kMostConnections = 64;
constexpr std::size_t kMostEventStreams = 16;
constexpr int kBacklog = 512;
constexpr std::int64_t kBetweenEventsMs = 200;

std::int64_t Milliseconds() { return ctl::MonotonicNow() / ctl::kNanosecondsInMillisecond; }

void MakeNonBlocking(int descriptor) {
  fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
  fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

[[noreturn]] void Fail(int listener, std::uint16_t port) {
  const int error = errno;
  if (listener >= 0) close(listener);
  throw std::runtime_error("127.0.0.1:" + std::to_string(port) +
                           " can't be served: " + std::strerror(error) + '.');
}

}  // namespace

Server::Server(std::uint16_t port) {
  listener_ = socket(AF_INET, SOCK_STREAM, 0);
  if (listener_ < 0) Fail(listener_, port);
  MakeNonBlocking(listener_);
  const int yes = 1;
  setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  if (bind(listener_, generic, size) != 0 || listen(listener_, kBacklog) != 0 ||
      getsockname(listener_, generic, &size) != 0) {
    Fail(listener_, port);
  }
  port_ = ntohs(address.sin_port);
}

Server::~Server() { close(listener_); }

void Server::MakeRoom() {
  if (connections_.size() < kMostConnections) return;
  auto goes = std::find_if(connections_.begin(), connections_.end(),
                           [](const Connection& connection) { return connection.IsAsking(); });
  if (goes == connections_.end()) {
    goes = std::find_if(connections_.begin(), connections_.end(),
                        [](const Connection& connection) { return !connection.IsEventStream(); });
  }
  connections_.erase(goes == connections_.end() ? connections_.begin() : goes);
}

void Server::Accept(std::int64_t now) {
  for (std::size_t count = 0; count < kMostConnections; ++count) {
    const int descriptor = accept(listener_, nullptr, nullptr);
    if (descriptor < 0 && errno == EMFILE && !connections_.empty()) connections_.pop_front();
    if (descriptor < 0) return;
    MakeNonBlocking(descriptor);
    MakeRoom();
    connections_.emplace_back(descriptor, now);
  }
}

std::size_t Server::EventStreams() const {
  return static_cast<std::size_t>(
      std::count_if(connections_.begin(), connections_.end(),
                    [](const Connection& connection) { return connection.IsEventStream(); }));
}

int Server::Timeout(std::int64_t now) const {
  std::int64_t next = now + 3600000;
  for (const Connection& connection : connections_) next = std::min(next, connection.deadline());
  if (EventStreams() > 0) next = std::min(next, next_events_);
  return static_cast<int>(std::max<std::int64_t>(0, next - now));
}

Response Server::AnswerOrRefuse(const Connection::Answer& answer, const Request& request) const {
  switch (const int refusal = RefusalOf(request, port_)) {
    case 0:
      break;
    case 421:
      return PlainResponse(refusal, "The page is at http://127.0.0.1:" + std::to_string(port_) +
                                        "/ and under no other name.");
    case 405:
      return PlainResponse(refusal, "The page can only be looked at.");
    default:
      return PlainResponse(refusal, "The page is not for other sites.");
  }
  try {
    Response response = answer(request);
    if (response.is_event_stream && EventStreams() >= kMostEventStreams) {
      return PlainResponse(503, "Too many pages are open.");
    }
    return response;
  } catch (const std::exception& failure) {
    return PlainResponse(503, failure.what());
  }
}

void Server::Run(const Connection::Answer& answer, const Events& events, int stop) {
  const Connection::Answer checked = [this, &answer](const Request& request) {
    return AnswerOrRefuse(answer, request);
  };
  std::vector<pollfd> polled;
  for (;;) {
    polled.assign({{stop, POLLIN, 0}, {listener_, POLLIN, 0}});
    for (const Connection& connection : connections_) {
      const int wanted =
          (connection.WantsToRead() ? POLLIN : 0) | (connection.WantsToWrite() ? POLLOUT : 0);
      polled.push_back({connection.descriptor(), static_cast<short>(wanted), 0});
    }
    poll(polled.data(), static_cast<nfds_t>(polled.size()), Timeout(Milliseconds()));
    if (polled[0].revents != 0) return;
    const std::int64_t now = Milliseconds();
    std::size_t at = 2;
    for (Connection& connection : connections_) {
      const short happened = polled[at++].revents;
      if ((happened & (POLLIN | POLLHUP | POLLERR)) != 0) connection.Read(checked, now);
      if ((happened & POLLOUT) != 0) connection.Write(now);
      connection.ExpireAt(now);
    }
    connections_.remove_if([](const Connection& connection) { return connection.IsOver(); });
    if (now >= next_events_ && EventStreams() > 0) {
      next_events_ = now + kBetweenEventsMs;
      const std::string news = events();
      if (!news.empty()) {
        for (Connection& connection : connections_) connection.AddEvents(news, now);
      }
    }
    if (polled[1].revents != 0) Accept(now);
  }
}

}  // namespace page
