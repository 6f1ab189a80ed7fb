#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "upstream/relay/answer_times.h"
#include "upstream/relay/asker.h"
#include "upstream/relay/deadlines.h"
#include "upstream/relay/exchange.h"
#include "upstream/relay/health.h"
#include "upstream/relay/lanes.h"
#include "upstream/relay/probe.h"

namespace upstream {

/// Counts since the program began to use the server; common/upstream/state_text.h says what each
/// means.
struct ServerCounts {
  std::uint64_t queries = 0;
  std::uint64_t answered = 0;
  std::uint64_t unanswered = 0;
  std::uint64_t retries = 0;
  std::uint64_t truncations = 0;
};

/// One server, and all queries in flight there. Every query gets a response: the server's, or
/// "server failure" after kPatience, after kPatienceWithSlowNames, at once while the server is
/// silent, and at once when too much is in flight.
class Server final : private ExchangeOwner {
 public:
  /// What may be in flight at most: queries, and bytes of them.
  static constexpr std::size_t kMostQueries = 4096;
  static constexpr std::size_t kMostBytes = 4 << 20;

  Server(const ServerAddress& address, EventLoop& loop, RandomNumbers& numbers,
         Responses& responses, Time now);
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  /// Those who still wait get "server failure".
  ~Server() = default;

  void Ask(const Asker& asker, View query, Time now);

  /// To be called every few milliseconds while it is busy, and every half second otherwise.
  void Turn(Time now);
  bool IsBusy() const { return exchanges_.UnderWay() > 0 || health_.IsProbing(); }

  /// Hands over all askers that wait, and forgets them.
  void HandOver(const std::function<void(const Asker&, View query)>& take);

  void ClockJumped(Time now) { health_.ClockJumped(now); }

  const ServerAddress& Address() const { return address_; }
  const ServerCounts& Counts() const { return counts_; }
  AnswerTimes::Summary AnswerTimesSummarized() const { return answer_times_.Summarized(); }
  bool IsSilent() const { return health_.IsSilent(); }
  /// Since when it is alive or silent, in seconds since 1970.
  std::int64_t Since() const { return since_; }

 private:
  void Ended(Exchange& exchange, const Outcome& outcome) override;
  void Answered(Exchange& exchange, View response, Time now);
  void AskAgain(Exchange& exchange);
  void AskOverTcp(Exchange& exchange, Time now);
  void NotAnswered(Exchange& exchange, Time now);
  void Fail(const Asker& asker, View query);
  void PassDeadlines(Time now);
  void ProbeEnded(bool answered);
  void HealthChanged();

  const ServerAddress address_;
  Responses& responses_;
  Health health_;
  std::int64_t since_;
  bool gives_up_ = false;  // all that is in flight, at the next turn
  ServerCounts counts_;
  AnswerTimes answer_times_;
  Bytes response_;  // the one being made
  std::uint64_t last_deadline_ = 0;

  // In this order: the end of the lanes ends the exchanges, and may tell the probe of one.
  ExchangePool exchanges_;
  Deadlines<Exchange> first_deadlines_;
  Deadlines<Exchange> last_deadlines_;
  Probe probe_;
  Lanes lanes_;
};

}  // namespace upstream
