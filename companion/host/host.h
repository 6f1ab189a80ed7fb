#pragma once

#include <string>
#include <vector>

namespace ctl {

/// Where the host's files are. Tests put a folder in front of every path.
struct HostPlaces {
  std::string root;

  std::string At(const std::string& path) const { return root + path; }
  /// A file of the state folder.
  std::string State(const std::string& name) const;
};

/// What became of an attempt to change how the host resolves names.
struct HostOutcome {
  bool is_done = true;
  /// What was changed, was left alone, or failed: for people.
  std::vector<std::string> sentences;
};

/// Has the host ask the proxy. Every change is written down before it is made. What an earlier
/// attempt has left is undone first. When a change fails, those before it are undone.
HostOutcome TurnHostOn(const HostPlaces& places);

/// Puts everything back as it was, whatever moment an earlier attempt was ended at. `for_now`: the
/// wish to ask the proxy stays, so that it can be turned on again.
HostOutcome TurnHostOff(const HostPlaces& places, bool for_now = false);

enum class HostUse {
  kOff,
  kOn,
  kOffForNow,  ///< it was turned off because the proxy did not answer
  kHalf        ///< turning it on or off was ended in the middle
};

/// As far as this user may see; root sees all.
HostUse ReadHostUse(const HostPlaces& places);

/// Whether there is anything that `off` would put back or remove.
bool HasHostState(const HostPlaces& places);

/// Whether somebody has asked for the host to be on.
bool HostIsWantedOn(const HostPlaces& places);

/// Watches over the proxy and turns the host off and on, until the host is no longer wanted on.
/// Returns the exit status.
int KeepHostAnswered(const HostPlaces& places);

}  // namespace ctl
