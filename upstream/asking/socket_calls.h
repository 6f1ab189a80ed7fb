#pragma once

#include <ares.h>

#include "common/upstream/server_address.h"
#include "upstream/wire/message.h"

namespace upstream {

/// The system calls of one channel of the resolver library, in place of its own. They keep whole
/// what the library would cut to 4,096 bytes, give a link-local address its interface, and hide
/// from the library what cannot be a response: it would treat an empty datagram as a failure of the
/// connection and repeat every query.
class SocketCalls {
 public:
  explicit SocketCalls(const ServerAddress& server) : server_(server) {}

  /// From here on `channel` uses this object, which outlives it and stays where it is.
  void Install(ares_channel channel);

  /// The datagram that was read last. Valid until any channel reads again.
  View Datagram() const;

  /// Whether a datagram was handed to the library since the last ExpectRead.
  void ExpectRead() { has_read_ = false; }
  bool HasRead() const { return has_read_; }

 private:
  static const ares_socket_functions kCalls;
  static ares_socket_t Open(int family, int type, int protocol, void* self);
  static int Close(ares_socket_t descriptor, void* self);
  static int Connect(ares_socket_t descriptor, const sockaddr* address, ares_socklen_t length,
                     void* self);
  static ares_ssize_t Receive(ares_socket_t descriptor, void* bytes, size_t count, int flags,
                              sockaddr* from, ares_socklen_t* from_length, void* self);
  static ares_ssize_t Send(ares_socket_t descriptor, const iovec* parts, int count, void* self);

  const ServerAddress server_;
  bool has_read_ = false;
};

}  // namespace upstream
