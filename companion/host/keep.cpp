#include <chrono>
#include <optional>
#include <thread>

#include "common/output/clock.h"
#include "common/output/exit_status.h"
#include "common/output/output.h"
#include "common/platform/process_table.h"
#include "companion/host/absence.h"
#include "companion/host/host.h"
#include "companion/probe/probe.h"

namespace ctl {
namespace {

constexpr std::chrono::seconds kBetweenLooks(1);
// A question costs lines of the trace, and watch waits for a second without any.
constexpr std::int64_t kBetweenQuestions = 30;
constexpr int kPatienceMs = 1000;

// Whether the proxy serves: by the tables of processes and sockets, and now and then by a question.
class ProxyLook {
 public:
  bool Serves() {
    if (!HasProxy() || ThreadsOf(*proxy_).size() != kThreadsOfServingProxy) return Answers();
    const bool is_due = seconds_since_answer_ >= kBetweenQuestions;
    ++seconds_since_answer_;
    return !is_due || Answers();
  }

 private:
  bool HasProxy() {
    if (proxy_ && IsAlive(*proxy_)) return true;
    proxy_ = FindProxy();
    return proxy_ && HoldsLocalPort(*proxy_);
  }
  bool Answers() {
    const bool answers = ProbeProxy(kPatienceMs).is_well;
    if (answers) seconds_since_answer_ = 0;
    return answers;
  }

  std::optional<Process> proxy_;
  std::int64_t seconds_since_answer_ = kBetweenQuestions;
};

void Say(const HostOutcome& outcome, const std::string& sentence) {
  for (const std::string& of_it : outcome.sentences) Complain(of_it);
  if (outcome.is_done) Print(sentence + '\n');
  FlushOutput();
}

}  // namespace

int KeepHostAnswered(const HostPlaces& places) {
  ProxyLook look;
  Absence absence;
  if (!HostIsWantedOn(places)) {
    // Turning it on or off was ended in the middle.
    const HostOutcome outcome = TurnHostOff(places);
    Say(outcome, "The host is as it was before.");
    return outcome.is_done ? kOk : kError;
  }
  while (HostIsWantedOn(places)) {
    const Absence::Advice advice = absence.After(look.Serves(), MonotonicNow());
    const HostUse use = ReadHostUse(places);
    if (advice == Absence::Advice::kOff && use != HostUse::kOffForNow) {
      Say(TurnHostOff(places, true),
          "The proxy has not answered for 10 seconds: the host does without it until it does.");
    } else if (advice == Absence::Advice::kOn && use != HostUse::kOn) {
      Say(TurnHostOn(places), "The proxy answers again, and the host asks it.");
    }
    std::this_thread::sleep_for(kBetweenLooks);
  }
  return kOk;
}

}  // namespace ctl
