#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <string>

#include "page/http/connection.h"

namespace page {

/// Serves HTTP on 127.0.0.1, from one thread and without ever waiting for a client. There are only
/// a few connections at a time: a new one replaces the one that has been asking longest.
class Server {
 public:
  /// The events for all event streams since its last call; called several times a second while
  /// there is one.
  using Events = std::function<std::string()>;

  /// std::runtime_error with a sentence when the port can't be had.
  explicit Server(std::uint16_t port);
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server();

  /// The port asked for, or the one that the system has picked for 0.
  std::uint16_t port() const { return port_; }

  /// Serves until `stop`, a descriptor, becomes readable.
  void Run(const Connection::Answer& answer, const Events& events, int stop);

 private:
  void Accept(std::int64_t now);
  void MakeRoom();
  std::size_t EventStreams() const;
  int Timeout(std::int64_t now) const;
  Response AnswerOrRefuse(const Connection::Answer& answer, const Request& request) const;

  int listener_ = -1;
  std::uint16_t port_ = 0;
  std::list<Connection> connections_;  // oldest first
  std::int64_t next_events_ = 0;
};

}  // namespace page
