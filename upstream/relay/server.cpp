#include "upstream/relay/server.h"

#include <ctime>
#include <string>

#include "upstream/wire/say.h"

namespace upstream {

Server::Server(const ServerAddress& address, EventLoop& loop, RandomNumbers& numbers,
               Responses& responses, Time now)
    : address_(address),
      responses_(responses),
      health_(now),
      since_(std::time(nullptr)),
      exchanges_(*this, kMostQueries, kMostBytes),
      probe_(address, loop, numbers, [this](bool answered) { ProbeEnded(answered); }),
      lanes_(address, loop, numbers) {}

void Server::Ask(const Asker& asker, View query, Time now) {
  ++counts_.queries;
  if (health_.IsSilent()) health_.AskedWhileSilent();
  Exchange* exchange =
      health_.IsSilent() || !CanBeAsked(query) ? nullptr : exchanges_.Take(asker, query, now);
  if (exchange == nullptr) {
    Fail(asker, query);
    return;
  }
  exchange->deadline = ++last_deadline_;
  first_deadlines_.Set(now + kPatience, *exchange, exchange->deadline);
  lanes_.Ask(exchange->Query(), Transport::kUdp, *exchange);
}

void Server::Ended(Exchange& exchange, const Outcome& outcome) {
  const Time now = Clock::now();
  counts_.retries += static_cast<std::uint64_t>(outcome.sent_again);
  if (outcome.response) health_.Heard(now);
  if (exchange.is_waiting && exchange.transport == Transport::kUdp) {
    // Either may end the exchange before it returns.
    if (outcome.response && IsTruncated(*outcome.response)) return AskOverTcp(exchange, now);
    if (outcome.is_overdue) return AskAgain(exchange);
  }
  if (exchange.is_waiting && outcome.response) Answered(exchange, *outcome.response, now);
  if (exchange.is_waiting) NotAnswered(exchange, now);
  exchanges_.GiveBack(exchange);
}

// Asks again, from another port and with another id, until the asker has a response.
void Server::AskAgain(Exchange& exchange) {
  ++counts_.retries;
  lanes_.Ask(exchange.Query(), Transport::kUdp, exchange);
}

void Server::Answered(Exchange& exchange, View response, Time now) {
  exchange.is_waiting = false;
  if (IsTruncated(response) || response.count > kMostMessageBytes) {
    Fail(exchange.asker, exchange.Query());
    return;
  }
  ++counts_.answered;
  answer_times_.Add(static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::microseconds>(now - exchange.asked).count()));
  response_.assign(response.bytes, response.bytes + response.count);
  RestoreAsker(exchange.Query(), response_);
  responses_.Respond(exchange.asker, {response_.data(), response_.size()});
}

void Server::AskOverTcp(Exchange& exchange, Time now) {
  ++counts_.truncations;
  exchange.transport = Transport::kTcp;
  exchange.deadline = ++last_deadline_;
  first_deadlines_.Set(now + kPatience, exchange, exchange.deadline);
  lanes_.Ask(exchange.Query(), Transport::kTcp, exchange);
}

// The exchange stays: its response may still come, and be a sign of life.
void Server::NotAnswered(Exchange& exchange, Time now) {
  exchange.is_waiting = false;
  Fail(exchange.asker, exchange.Query());
  if (!health_.Unanswered(exchange.asked, now)) return;
  probe_.SetOtherQuestion(exchange.Query());
  gives_up_ = true;
  HealthChanged();
}

void Server::Fail(const Asker& asker, View query) {
  ++counts_.unanswered;
  const Bytes failure = ServerFailure(query);
  responses_.Respond(asker, {failure.data(), failure.size()});
}

void Server::PassDeadlines(Time now) {
  while (Exchange* exchange = first_deadlines_.TakeDue(now)) {
    if (exchange->transport == Transport::kUdp && health_.HeardSince(exchange->asked)) {
      last_deadlines_.Set(exchange->asked + kPatienceWithSlowNames, *exchange, exchange->deadline);
    } else {
      NotAnswered(*exchange, now);
    }
  }
  while (Exchange* exchange = last_deadlines_.TakeDue(now)) NotAnswered(*exchange, now);
}

void Server::Turn(Time now) {
  lanes_.Turn();
  probe_.Turn();
  PassDeadlines(now);
  if (gives_up_) {
    gives_up_ = false;
    lanes_.GiveUp();
  }
  const Exchange* oldest = first_deadlines_.Next();
  if (health_.WantsProbe(now) || (oldest != nullptr && health_.WantsProbe(oldest->asked, now))) {
    health_.ProbeBegun(now);
    probe_.Begin();
  }
}

void Server::ProbeEnded(bool answered) {
  const Time now = Clock::now();
  if (!answered) {
    health_.ProbeFailed(now);
  } else if (health_.ProbeAnswered(now)) {
    HealthChanged();
  }
}

void Server::HealthChanged() {
  since_ = std::time(nullptr);
  Say(AddressText(address_) + (health_.IsSilent() ? " is silent." : " answers again."));
}

void Server::HandOver(const std::function<void(const Asker&, View query)>& take) {
  for (Exchange& exchange : exchanges_.All()) {
    if (!exchange.is_waiting) continue;
    exchange.is_waiting = false;
    take(exchange.asker, exchange.Query());
  }
}

}  // namespace upstream
