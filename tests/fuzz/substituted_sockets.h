#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>
#include <string>
#include <vector>

/// Stands in for the two sockets: the linker leads the proxy's `recvfrom` and `sendto` here, so a
/// fuzz input costs no system call and nothing leaves the process.

inline constexpr int kApplicationsSocket = 1001;
inline constexpr int kServersSocket = 1002;

/// A sender's socket address as the system hands it out.
struct Sender {
  sockaddr_in6 address = {};
  socklen_t length = 0;

  /// The 16 bytes that the proxy keeps.
  std::string Kept() const { return {reinterpret_cast<const char*>(&address), sizeof(sockaddr)}; }
};

Sender Ipv4Sender(const std::string& address, std::uint16_t port);
Sender Ipv6Sender(const std::string& address, std::uint16_t port);
/// Of a family that has no text.
Sender NamelessSender();

/// One datagram that the proxy has handed to the system.
struct SentDatagram {
  int sock;
  std::string bytes;
  std::string address;  ///< as many bytes as were passed
};

namespace substituted_sockets {

/// Forgets everything; sending works on both sockets.
void Reset();

/// The next `recvfrom`, on `sock`, finds this datagram.
void Deliver(int sock, const std::string& datagram, const Sender& sender);

/// The next `recvfrom`, on `sock`, fails.
void DeliverFailure(int sock);

/// From now on every `sendto` on `sock` fails.
void RefuseSends(int sock);

/// True when the last delivery has been taken, by one call.
bool DeliveryTaken();

/// Everything that was sent since the reset, refused datagrams too.
const std::vector<SentDatagram>& Sent();

}  // namespace substituted_sockets
