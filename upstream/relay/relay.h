#pragma once

#include <array>
#include <memory>
#include <vector>

#include "common/upstream/places.h"
#include "common/upstream/state_text.h"
#include "upstream/relay/listener.h"
#include "upstream/relay/server.h"

namespace upstream {

/// Everything between the listening addresses and the servers that stand behind them.
class Relay final : private Queries {
 public:
  /// Throws std::system_error when a listening address cannot be had.
  explicit Relay(EventLoop& loop);

  /// The first of `servers` stands behind the first address, and so on; an address without one says
  /// "server failure". A server that was there before keeps its queries in flight and its counts.
  /// Queries that wait for a server that is gone are sent to its successor.
  void SetServers(const std::vector<ServerAddress>& servers, Time now);

  /// To be called every few milliseconds while Busy, and every half second otherwise.
  void Turn(Time now);
  bool IsBusy() const;
  void ClockJumped(Time now);

  State CurrentState() const;

 private:
  void Asked(const Asker& asker, View query) override;

  EventLoop& loop_;
  RandomNumbers numbers_;
  Listener listener_;
  std::array<std::unique_ptr<Server>, kMostServers> servers_;
};

}  // namespace upstream
