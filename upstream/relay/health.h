#pragma once

#include "upstream/wire/time.h"

namespace upstream {

// How long a server is waited for.

/// A query of which nothing is heard, nor of any other asked since: then the server is silent.
inline constexpr Span kPatience = 1400ms;
/// A query that goes unanswered at a server that does answer others: it is slow about this name.
inline constexpr Span kPatienceWithSlowNames = 4s;
/// After that long without a sign of life the server is asked for one, so that a slow name alone
/// does not make it silent. What it has is known within kPatience.
inline constexpr Span kQuietBeforeProbe = 300ms;

/// Whether a server answers, as far as is known. Begins alive.
class Health {
 public:
  explicit Health(Time now) : trusted_since_(now) {}

  bool IsSilent() const { return is_silent_; }
  bool IsProbing() const { return is_probing_; }
  bool HeardSince(Time time) const { return has_heard_ && heard_ >= time; }

  /// A response of whatever kind to a query has come.
  void Heard(Time now);
  /// Nothing came of a query asked at `asked`. True when the server has become silent by that.
  bool Unanswered(Time asked, Time now);

  /// While silent: whether it is time to ask for a sign of life again, or, while alive, whether the
  /// query that waits longest, asked at `oldest_asked`, gives reason to.
  bool WantsProbe(Time now) const;
  bool WantsProbe(Time oldest_asked, Time now) const;
  /// Somebody asks a silent server: it is probed earlier, to be back soon while it is needed.
  void AskedWhileSilent();
  void ProbeBegun(Time now);
  /// True when the server is alive again by that: it takes two answers in a row.
  bool ProbeAnswered(Time now);
  void ProbeFailed(Time now);

  /// The process did not run for a while, or the machine slept: what was asked before then and is
  /// unanswered says nothing about the server.
  void ClockJumped(Time now) { trusted_since_ = now; }

 private:
  bool is_silent_ = false;
  bool has_heard_ = false;
  Time heard_;
  Time silent_since_;
  Time trusted_since_;
  bool is_probing_ = false;
  Time probe_begun_;
  Time next_probe_;
  int answered_probes_ = 0;
};

}  // namespace upstream
