#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "tests/stress/wire.h"

/// Server A (127.0.0.2), server B (127.0.0.3) and a stranger (127.0.0.9), which answer as
/// the name in each query asks for.
class Upstreams {
 public:
  Upstreams();

  /// Serves on the caller's thread until `is_over`.
  void ServeUntil(const std::function<bool()>& is_over);

  /// Ends the proxy the normal way: with a datagram shorter than a header on its upstream socket.
  void EndProxy() const;

  /// How often a query that was still in flight came again, because the proxy's ids had come round
  /// to it. Each time the query that was new got lost.
  std::uint32_t wraps() const { return wraps_; }

 private:
  struct Held {
    Message response;
    sockaddr_in to;
  };

  void ServeA(const Message& query, const sockaddr_in& proxy);
  void ServeB(const Message& query, const sockaddr_in& proxy);
  void ServeStuck(const Message& query, const sockaddr_in& proxy);
  void ReleaseHeld();

  int server_a_;
  int server_b_;
  int stranger_;
  sockaddr_in proxy_{};
  std::vector<Held> held_;
  std::set<std::string> stuck_;
  std::uint32_t wraps_ = 0;
};
