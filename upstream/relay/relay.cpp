#include "upstream/relay/relay.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

namespace upstream {

Relay::Relay(EventLoop& loop) : loop_(loop), listener_(loop, *this) {}

void Relay::Asked(const Asker& asker, View query) {
  if (Server* server = servers_[asker.place].get()) {
    server->Ask(asker, query, Clock::now());
    return;
  }
  const Bytes failure = ServerFailure(query);
  listener_.Respond(asker, {failure.data(), failure.size()});
}

void Relay::SetServers(const std::vector<ServerAddress>& servers, Time now) {
  std::array<std::unique_ptr<Server>, kMostServers> before;
  before.swap(servers_);
  for (std::size_t place = 0; place < std::min(servers.size(), kMostServers); ++place) {
    const auto kept = std::find_if(before.begin(), before.end(), [&](const auto& server) {
      return server != nullptr && server->Address() == servers[place];
    });
    servers_[place] = kept != before.end() ? std::move(*kept)
                                           : std::make_unique<Server>(servers[place], loop_,
                                                                      numbers_, listener_, now);
  }
  for (const auto& gone : before) {
    if (gone == nullptr) continue;
    gone->HandOver([this](const Asker& asker, View query) { Asked(asker, query); });
  }
}

void Relay::Turn(Time now) {
  for (const auto& server : servers_) {
    if (server != nullptr) server->Turn(now);
  }
}

bool Relay::IsBusy() const {
  return std::any_of(servers_.begin(), servers_.end(),
                     [](const auto& server) { return server != nullptr && server->IsBusy(); });
}

void Relay::ClockJumped(Time now) {
  for (const auto& server : servers_) {
    if (server != nullptr) server->ClockJumped(now);
  }
}

State Relay::CurrentState() const {
  State state;
  state.process = getpid();
  for (std::size_t place = 0; place < kMostServers; ++place) {
    ServerState& told = state.servers.emplace_back();
    told.listens = kListenAddresses[place];
    const Server* server = servers_[place].get();
    if (server == nullptr) continue;
    const AnswerTimes::Summary times = server->AnswerTimesSummarized();
    told.address = AddressText(server->Address());
    told.silent = server->IsSilent();
    told.since = server->Since();
    told.queries = server->Counts().queries;
    told.answered = server->Counts().answered;
    told.unanswered = server->Counts().unanswered;
    told.retries = server->Counts().retries;
    told.truncations = server->Counts().truncations;
    told.median_microseconds = times.median;
    told.slow_microseconds = times.slow;
  }
  return state;
}

}  // namespace upstream
