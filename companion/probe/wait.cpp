#include "companion/probe/wait.h"

#include <poll.h>

#include "common/output/clock.h"

namespace ctl {
void WaitForAnswers(const Exchanges& exchanges, int timeout_ms) {
  const std::int64_t end = MonotonicNow() + timeout_ms * kNanosecondsInMillisecond;
  for (;;) {
    std::vector<pollfd> sockets;
    std::vector<Exchange*> waiting;
    for (const auto& exchange : exchanges) {
      if (exchange->state() != ExchangeState::kWaiting) continue;
      sockets.push_back({exchange->descriptor(), POLLIN, 0});
      waiting.push_back(exchange.get());
    }
    const std::int64_t left = end - MonotonicNow();
    if (waiting.empty() || left <= 0) return;
    const std::int64_t left_ms = (left + kNanosecondsInMillisecond - 1) / kNanosecondsInMillisecond;
    poll(sockets.data(), static_cast<nfds_t>(sockets.size()), static_cast<int>(left_ms));
    for (std::size_t at = 0; at < sockets.size(); ++at) {
      if (sockets[at].revents != 0) waiting[at]->Receive();
    }
  }
}

}  // namespace ctl
