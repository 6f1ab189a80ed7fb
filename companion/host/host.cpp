#include "companion/host/host.h"

#include <unistd.h>

#include "common/upstream/places.h"
#include "companion/host/change.h"
#include "companion/host/files.h"
#include "companion/host/journal.h"
#include "companion/host/readers.h"
#include "companion/host/settings.h"
#include "companion/host/setups.h"
#include "companion/names/files.h"

namespace ctl {
namespace {

// In the state folder, for everybody to see: somebody has asked for the host to be on, and it is
// off because the proxy does not answer.
constexpr char kWanted[] = "wanted";
constexpr char kOffForNow[] = "off_for_now";
constexpr char kRecords[] = "host";

HostOutcome Refusal(const std::string& sentence) { return {false, {sentence}}; }

// From the last change to the first, so that a file is put back before the program that writes it
// is told.
bool UndoAll(const HostPlaces& places, Journal& journal, std::vector<std::string>& sentences) {
  const std::vector<int> numbers = journal.Numbers();
  bool is_done = true;
  for (auto number = numbers.rbegin(); number != numbers.rend(); ++number) {
    is_done = UndoChange(places, journal, *number, sentences) && is_done;
  }
  if (is_done) unlink(places.At(upstream::kServersBefore).c_str());
  return is_done;
}

std::string MakeAll(const HostPlaces& places, Journal& journal) {
  const std::string servers = places.At(upstream::kServersBefore);
  const std::string problem = WriteTextFile(servers, ServersOfHost(places));
  if (!problem.empty()) return servers + ": " + problem + '.';
#if defined(__APPLE__)
  return PointSettingsAtProxy(places, journal, 1);
#else
  int number = 1;
  for (const HostChange& change : ChangesFor(places)) {
    std::string failure = MakeChange(places, journal, number++, change);
    if (!failure.empty()) return failure;
  }
  return "";
#endif
}

}  // namespace

std::string HostPlaces::State(const std::string& name) const {
  return At(std::string(upstream::kHostStateFolder) + '/' + name);
}

HostOutcome TurnHostOn(const HostPlaces& places) {
  Journal journal(places.State(kRecords));
  const std::string refusal = journal.Open();
  if (!refusal.empty()) return Refusal(places.State(kRecords) + ": " + refusal + '.');
  HostOutcome outcome;
  outcome.is_done = UndoAll(places, journal, outcome.sentences);
  if (!outcome.is_done) return outcome;
  std::string problem = MakeAll(places, journal);
  if (problem.empty()) problem = WriteTextFile(places.State(kWanted), "");
  if (problem.empty()) {
    unlink(places.State(kOffForNow).c_str());
    return outcome;
  }
  outcome.is_done = false;
  outcome.sentences.push_back(problem);
  UndoAll(places, journal, outcome.sentences);
  if (!HostIsWantedOn(places)) journal.RemoveFolder();
  return outcome;
}

HostOutcome TurnHostOff(const HostPlaces& places, bool for_now) {
  if (!HasHostState(places)) {
    rmdir(places.At(upstream::kHostStateFolder).c_str());  // where an earlier attempt was ended
    return {};
  }
  Journal journal(places.State(kRecords));
  const std::string refusal = journal.Open();
  if (!refusal.empty()) return Refusal(places.State(kRecords) + ": " + refusal + '.');
  HostOutcome outcome;
  if (for_now && !HostIsWantedOn(places)) return outcome;
  if (for_now) {
    const std::string problem = WriteTextFile(places.State(kOffForNow), "");
    if (!problem.empty()) return Refusal(places.State(kOffForNow) + ": " + problem + '.');
  } else {
    unlink(places.State(kWanted).c_str());
  }
  outcome.is_done = UndoAll(places, journal, outcome.sentences);
  if (!outcome.is_done || for_now) return outcome;
  unlink(places.State(kOffForNow).c_str());
  RemoveUnfinished(places.State(kWanted));
  RemoveUnfinished(places.State(kOffForNow));
  RemoveUnfinished(places.At(upstream::kServersBefore));
  journal.RemoveFolder();
  return outcome;
}

bool HasHostState(const HostPlaces& places) { return IsThere(places.State(kRecords)); }

bool HostIsWantedOn(const HostPlaces& places) { return IsThere(places.State(kWanted)); }

HostUse ReadHostUse(const HostPlaces& places) {
  const bool is_changed = IsThere(places.At(upstream::kServersBefore));
  if (!HostIsWantedOn(places)) return is_changed ? HostUse::kHalf : HostUse::kOff;
  if (IsThere(places.State(kOffForNow))) return HostUse::kOffForNow;
  return is_changed ? HostUse::kOn : HostUse::kHalf;
}

}  // namespace ctl
