#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// What the measuring tools share: UDP sockets on loopback, and an end with a message when the
// system refuses.

inline constexpr std::uint16_t kPort = 53;
inline constexpr std::size_t kLargestDatagram = 8192;
inline constexpr std::size_t kHeaderBytes = 12;

/// Ends the process when `result` is a failed system call's.
inline int Checked(int result, const char* what) {
  if (result < 0) {
    std::perror(what);
    std::exit(1);
  }
  return result;
}

/// Port 53 of `address`, a dotted IPv4 address.
inline sockaddr_in DnsAddress(const char* address) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_port = htons(kPort);
  result.sin_addr.s_addr = inet_addr(address);
  return result;
}

inline int OpenSocket() { return Checked(socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP), "socket"); }

/// A socket bound to port 53 of `address`.
inline int BindTo(const char* address) {
  const int sock = OpenSocket();
  const sockaddr_in local = DnsAddress(address);
  Checked(bind(sock, reinterpret_cast<const sockaddr*>(&local), sizeof(local)), "bind");
  return sock;
}
