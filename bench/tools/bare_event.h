#pragma once

#include <netinet/in.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <vector>

#include "loopback_udp.h"

// The system calls that no forwarder with one wait per datagram can do without, and nothing else.

/// Waits without limit until `sock` is readable.
inline void WaitReadable(int sock) {
  fd_set readable;
  FD_ZERO(&readable);
  FD_SET(sock, &readable);
  Checked(select(sock + 1, &readable, nullptr, nullptr, nullptr), "select");
}

/// One datagram; `sender` is set to where it came from. The result is its length in bytes.
inline std::size_t Receive(int sock, char* buffer, sockaddr_in& sender) {
  socklen_t length = sizeof(sender);
  const ssize_t received =
      recvfrom(sock, buffer, kLargestDatagram, 0, reinterpret_cast<sockaddr*>(&sender), &length);
  return static_cast<std::size_t>(Checked(static_cast<int>(received), "recvfrom"));
}

inline void Send(int sock, const char* datagram, std::size_t length, const sockaddr_in& to) {
  (void)!sendto(sock, datagram, length, 0, reinterpret_cast<const sockaddr*>(&to), sizeof(to));
}

/// A text of a fixed length that is written to standard output once per event; of none, nothing is.
class EventTrace {
 public:
  explicit EventTrace(std::size_t bytes) : text_(bytes, '.') {
    if (bytes > 0) text_.back() = '\n';
  }
  void Write() const {
    if (!text_.empty()) (void)!write(STDOUT_FILENO, text_.data(), text_.size());
  }

 private:
  std::vector<char> text_;
};

/// A count of bytes from the command line.
inline std::size_t ByteCount(const char* text) {
  return static_cast<std::size_t>(std::strtoul(text, nullptr, 10));
}
