#pragma once

#include "upstream/wire/time.h"

namespace upstream {

// How long to wait for a server.

/// When neither this query nor any asked since has a response after this time, the server is
/// silent.
inline constexpr Span kPatience = 1400ms;
/// The same for a query at a server that answers others: it is slow about this name.
inline constexpr Span kPatienceWithSlowNames = 4s;
/// After this time without a sign of life the server is probed, so that one slow name does not make
/// it silent. The result is known within kPatience.
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

  /// Whether it is time to probe the server. The first is for one that is silent. The second is for
  /// one that is alive, and whose longest waiting query was asked at `oldest_asked`.
  bool WantsProbe(Time now) const;
  bool WantsProbe(Time oldest_asked, Time now) const;
  /// Somebody asks a silent server: it is probed earlier, so that it is back soon while it is
  /// needed.
  void AskedWhileSilent();
  void ProbeBegun(Time now);
  /// True when the server is alive again by that: it takes two answers in a row.
  bool ProbeAnswered(Time now);
  void ProbeFailed(Time now);

  /// The process did not run for a while, or the machine slept: unanswered queries from before then
  /// say nothing about the server.
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
