#pragma once

#include <memory>
#include <vector>

#include "upstream/asking/lane.h"

namespace upstream {

/// The lanes over which one server is asked: many for UDP, so that the port changes also while
/// there is always something in flight, and one for TCP.
class Lanes {
 public:
  Lanes(const ServerAddress& server, EventLoop& loop, RandomNumbers& numbers);

  void Ask(View query, Transport transport, AskedQuery& asked);
  void Turn();
  void GiveUp();

 private:
  Lane& UdpLane();

  RandomNumbers& numbers_;
  std::vector<std::unique_ptr<Lane>> udp_;
  Lane tcp_;
};

}  // namespace upstream
