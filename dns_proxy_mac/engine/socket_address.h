#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstddef>

/// Room for the longest address text, IPv6, with its terminator.
inline constexpr int kAddressTextSize = 46;

/// Who sent a datagram. The receive calls are told a length of 28, the size of an IPv6 address, so
/// there are 28 bytes to fill; the sockets are IPv4, so 16 are filled, and those are what is kept.
using SenderAddress = sockaddr_in6;

/// A socket address as text; empty for a family that is neither IPv4 nor IPv6.
class AddressText {
 public:
  AddressText() = default;
  explicit AddressText(const SenderAddress& address);
  /// A 16-byte address. Of an IPv6 one, the bytes that it has no room for read as zero.
  explicit AddressText(const sockaddr& address);

  const char* c_str() const { return text_; }

 private:
  char text_[kAddressTextSize] = {};
};

/// The first 16 bytes of `sender`: all of an IPv4 address.
sockaddr KeptAddress(const SenderAddress& sender);

/// One `recvfrom` with flags 0 of at most `capacity` bytes; returns the length or -1. `sender` is
/// zero but for what the call fills in.
int ReceiveDatagram(int sock, char* buffer, std::size_t capacity, SenderAddress& sender);

/// One `sendto` with flags 0 and an address length of 16 for IPv4, else 28. False, with errno set,
/// when the system refuses the datagram.
bool SendDatagram(int sock, const char* datagram, int length, const sockaddr& to);
