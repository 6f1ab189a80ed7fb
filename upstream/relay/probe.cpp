#include "upstream/relay/probe.h"

#include <utility>

namespace upstream {
namespace {

// 0, 75, 225 and 525 ms after the beginning; over after 1,125 ms.
constexpr Tries kTries{4, 75};

const Bytes kRootNameServers = {0, 0,                    // the id, which the lane gives
                                1, 0,                    // a query, recursion desired
                                0, 1, 0, 0, 0, 0, 0, 0,  // one question
                                0,                       // the root
                                0, 2, 0, 1};             // NS, IN

}  // namespace

Probe::Probe(const ServerAddress& server, EventLoop& loop, RandomNumbers& numbers, Done done)
    : done_(std::move(done)), lane_(server, Transport::kUdp, kTries, loop, numbers) {}

void Probe::Begin() {
  const Bytes& question = asks_other_ && !other_.empty() ? other_ : kRootNameServers;
  lane_.Ask({question.data(), question.size()}, *this);
}

void Probe::Ended(const Outcome& outcome) {
  if (!outcome.response) asks_other_ = !asks_other_;
  done_(outcome.response.has_value());
}

}  // namespace upstream
