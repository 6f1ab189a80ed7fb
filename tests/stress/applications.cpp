#include "tests/stress/applications.h"

#include <cstdio>

namespace {

constexpr std::size_t kWindow = 12;
constexpr std::uint32_t kNumbersEach = 100000000;
constexpr std::uint32_t kStuckEvery = 50000;
constexpr int kPatienceMs = 100;
constexpr int kKnockingMs = 5;
constexpr auto kOverdue = std::chrono::seconds(3);
constexpr auto kGivenUp = std::chrono::seconds(60);

Path PathFor(std::uint32_t number) {
  if (number % kStuckEvery == kStuckEvery / 2) return Path::kStuck;
  // All paths but the last, in a mixed order.
  return static_cast<Path>((number * 2654435761U >> 16) % (kPaths - 1));
}

}  // namespace

Application::Application(int number)
    : sock_(BoundSocket("127.0.0.1", 0)),
      next_(static_cast<std::uint32_t>(number) * kNumbersEach),
      proxy_(Address("127.0.0.1", kProxyPort)) {}

bool Application::Run(std::uint32_t queries, std::atomic<int>& done,
                      const std::atomic<bool>& stop) {
  auto last_response = Clock::now();
  bool counted = false;
  Message response;
  sockaddr_in from{};
  while (!stop) {
    while (in_flight_.size() < kWindow) AskNext();
    if (Receive(sock_, heard_ ? kPatienceMs : kKnockingMs, response, from)) {
      last_response = Clock::now();
      heard_ = true;
      if (!TakeResponse(response)) return false;
    } else {
      RepeatOverdue();
    }
    if (answered_ >= queries && !counted) {
      counted = true;
      ++done;
    }
    if (Clock::now() - last_response > kGivenUp) {
      std::fprintf(stderr, "proxy_load: no response for a minute\n");
      return false;
    }
    if (answered_ % 256 == 0) RepeatOverdue();
  }
  return true;
}

void Application::AskNext() {
  while (in_flight_.count(next_id_) != 0) ++next_id_;
  const Path path = PathFor(next_);
  Asked asked{MakeQuery(next_id_, path, next_), path, Clock::now(), 1};
  Send(sock_, asked.query, proxy_);
  in_flight_.emplace(next_id_, std::move(asked));
  answered_once_.erase(next_id_);
  ++next_id_;
  ++next_;
}

bool Application::TakeResponse(const Message& response) {
  const auto id = *reinterpret_cast<const std::uint16_t*>(response.data());
  const auto waiting = in_flight_.find(id);
  const auto before = answered_once_.find(id);
  const bool is_waited_for = waiting != in_flight_.end();
  if (!is_waited_for && (before == answered_once_.end() || before->second.times == 0)) {
    std::fprintf(stderr, "proxy_load: a response with id %d that nobody waits for\n", id);
    return false;
  }
  Asked& asked = is_waited_for ? waiting->second : before->second;
  if (!IsRightResponse(asked.query, asked.path, response)) {
    std::fprintf(stderr, "proxy_load: a wrong response to '%s'\n", asked.query.c_str() + 13);
    return false;
  }
  --asked.times;
  if (!is_waited_for) return true;
  if (asked.times > 0) answered_once_.emplace(id, std::move(asked));
  in_flight_.erase(waiting);
  ++answered_;
  return true;
}

void Application::RepeatOverdue() {
  const auto now = Clock::now();
  for (auto& [id, asked] : in_flight_) {
    // A stuck query waits for the ids to come round, not for another try.
    if (asked.path == Path::kStuck || (heard_ && now - asked.when < kOverdue)) continue;
    Send(sock_, asked.query, proxy_);
    asked.when = now;
    ++asked.times;
    repeats_ += heard_ ? 1 : 0;
  }
}
