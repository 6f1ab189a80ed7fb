#include "upstream/relay/lanes.h"

namespace upstream {
namespace {

constexpr std::size_t kUdpLanes = 16;
// After this many a lane accepts no more until all of them have ended; then it begins again from
// another port.
constexpr std::size_t kMostQueriesFromAPort = 256;

// Sent after 0, 75, 225 and 525 ms and given up after 1,125 ms, or somewhat earlier; then `Server`
// asks again. By the end of its patience one of seven datagrams has got through, even where every
// third is lost in each direction.
constexpr Tries kUdpTries{4, 75};
constexpr Tries kTcpTries{2, 1500};

}  // namespace

Lanes::Lanes(const ServerAddress& server, EventLoop& loop, RandomNumbers& numbers)
    : numbers_(numbers), tcp_(server, Transport::kTcp, kTcpTries, loop, numbers) {
  for (std::size_t i = 0; i < kUdpLanes; ++i) {
    udp_.push_back(std::make_unique<Lane>(server, Transport::kUdp, kUdpTries, loop, numbers));
  }
}

Lane& Lanes::UdpLane() {
  const std::size_t first = numbers_.Next() % kUdpLanes;
  for (std::size_t i = 0; i < kUdpLanes; ++i) {
    Lane& lane = *udp_[(first + i) % kUdpLanes];
    if (lane.AskedFromPort() < kMostQueriesFromAPort) return lane;
  }
  return *udp_[first];
}

void Lanes::Ask(View query, Transport transport, AskedQuery& asked) {
  (transport == Transport::kTcp ? tcp_ : UdpLane()).Ask(query, asked);
}

void Lanes::Turn() {
  for (const auto& lane : udp_) lane->Turn();
  tcp_.Turn();
}

void Lanes::GiveUp() {
  for (const auto& lane : udp_) lane->GiveUp();
  tcp_.GiveUp();
}

}  // namespace upstream
