#pragma once

#include <netinet/in.h>

#include <cstdint>

#include "tests/unit/wire.h"

/// A UDP socket of a test on an address of the loopback net: an application, or an upstream server.
/// Its calls are never among the substituted ones.
class UdpPeer {
 public:
  /// Port 0 takes any free one.
  explicit UdpPeer(const char* address, std::uint16_t port = 0);
  UdpPeer(const UdpPeer&) = delete;
  UdpPeer& operator=(const UdpPeer&) = delete;
  ~UdpPeer();

  void Send(const Wire& datagram, const sockaddr_in& to) const;

  /// The next datagram; its sender is then `last_sender`. When none comes in ten seconds, throws.
  Wire Receive();

  /// Whether nothing has arrived; what a handler has sent on loopback has arrived when it returns.
  bool HasNothing() const;

  sockaddr_in Address() const;
  int Descriptor() const { return sock_; }

  sockaddr_in last_sender{};

 private:
  int sock_;
};

/// The address that `sock` is bound on.
sockaddr_in AddressOfSocket(int sock);

/// A UDP socket bound on `address`; a receive call on it fails after ten seconds without a
/// datagram, so that a test that goes wrong ends.
int BoundSocket(const char* address, std::uint16_t port);

/// The bytes of memory of the datagrams that have arrived at `sock` and are not received yet.
std::uint32_t MemoryOfWaiting(int sock);
