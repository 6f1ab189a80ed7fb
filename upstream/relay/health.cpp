#include "upstream/relay/health.h"

#include <algorithm>

namespace upstream {
namespace {

constexpr int kAnswersUntilAlive = 2;
constexpr Span kBetweenProbesAtFirst = 1s;
constexpr Span kBetweenProbesLater = 4s;
constexpr Span kLater = 60s;
constexpr Span kBetweenProbesWhileAsked = 250ms;
constexpr Span kBeforeSecondProbe = 100ms;

}  // namespace

void Health::Heard(Time now) {
  has_heard_ = true;
  heard_ = now;
}

bool Health::Unanswered(Time asked, Time now) {
  if (is_silent_ || HeardSince(asked) || asked < trusted_since_) return false;
  is_silent_ = true;
  silent_since_ = now;
  next_probe_ = now;
  answered_probes_ = 0;
  return true;
}

bool Health::WantsProbe(Time now) const { return is_silent_ && !is_probing_ && now >= next_probe_; }

bool Health::WantsProbe(Time oldest_asked, Time now) const {
  return !is_silent_ && !is_probing_ && now - oldest_asked >= kQuietBeforeProbe &&
         !HeardSince(oldest_asked) && probe_begun_ < oldest_asked;
}

void Health::AskedWhileSilent() {
  next_probe_ = std::min(next_probe_, probe_begun_ + kBetweenProbesWhileAsked);
}

void Health::ProbeBegun(Time now) {
  is_probing_ = true;
  probe_begun_ = now;
  next_probe_ = now + (now - silent_since_ < kLater ? kBetweenProbesAtFirst : kBetweenProbesLater);
}

bool Health::ProbeAnswered(Time now) {
  is_probing_ = false;
  Heard(now);
  if (!is_silent_) return false;
  next_probe_ = now + kBeforeSecondProbe;
  if (++answered_probes_ < kAnswersUntilAlive) return false;
  is_silent_ = false;
  return true;
}

void Health::ProbeFailed(Time /*now*/) {
  is_probing_ = false;
  answered_probes_ = 0;
}

}  // namespace upstream
