#pragma once

#include <array>
#include <cstdint>

#include "common/upstream/places.h"
#include "upstream/asking/event_loop.h"
#include "upstream/relay/asker.h"

namespace upstream {

/// Receives the queries. `query` has a header and at most kMostMessageBytes, and is valid during
/// the call only.
class Queries {
 public:
  virtual void Asked(const Asker& asker, View query) = 0;

 protected:
  ~Queries() = default;
};

/// The sockets on the listening addresses. A response leaves from the address that was asked, since
/// the proxy looks at nothing else.
///
/// Ignored are datagrams shorter than a header or longer than the proxy's buffers, and those from
/// outside of 127.0.0.0/8 or from a port below 1024: no application asks from there, but a forged
/// query could make this program and another server answer each other for ever.
class Listener final : public Responses, private Watcher {
 public:
  /// Throws std::system_error, with the address in its text, when one of them cannot be had.
  Listener(EventLoop& loop, Queries& queries);
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  void Respond(const Asker& asker, View response) override;

 private:
  void Ready(int descriptor, bool readable, bool writable) override;

  EventLoop& loop_;
  Queries& queries_;
  std::array<int, kMostServers> sockets_{};
  std::array<std::uint8_t, kMostMessageBytes + 1> received_{};
};

}  // namespace upstream
