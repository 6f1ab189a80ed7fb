#pragma once

#include <array>
#include <cstdint>

#include "common/trace/line_table.h"

namespace ctl {

enum class Worker : std::uint8_t { kQuery, kAnswer };

/// Where the two workers stand, told by their lines, and which of them can have printed the next
/// one. A worker's lines between two sends or waits stand together in the trace: that is a step.
/// Small and without pointers, so that a reading can be tried out on a copy.
class WorkerSteps {
 public:
  WorkerSteps() { Forget(); }

  /// Nothing is known: the trace begins somewhere, or something is missing.
  void Forget();
  /// Both are about to begin.
  void BeginRun();

  /// The worker that prints this line, moved to where it stands behind it. Null when neither can
  /// print it now. A `strict` reader accepts no line between two lines of the other worker's step.
  /// One that is not strict does, and it also accepts the beginning of a step where the last one
  /// was broken off.
  const Worker* Place(const LineFields& fields, bool strict);

  /// The id of the query that the worker works on; LineFields::kNoId when it is not known.
  std::int32_t IdOf(Worker worker) const { return At(worker).id; }
  /// Whether line 464 may come without 432 in front of it.
  bool MayFileAlone() const;
  /// Whether the query thread may have taken its next datagram without a line that says so.
  bool MayTakeNext() const;
  /// It has: whatever its last send came to has been said.
  void TakeNext();
  /// A name has been decoded and line 464 is still to come, as in traces of version 1.0.
  bool HasDecoded() const;
  /// Whether the relay has ended, so that the process may.
  bool RelayMayHaveEnded() const;

  /// For saving: all of it.
  struct Standing {
    std::uint32_t place;
    std::int32_t id;
  };
  using Standings = std::array<Standing, 2>;
  const Standings& standings() const { return standings_; }
  void set_standings(const Standings& standings) { standings_ = standings; }

 private:
  const Standing& At(Worker worker) const { return standings_[static_cast<std::size_t>(worker)]; }
  bool CanPrint(Worker worker, const LineFields& fields, bool strict) const;

  Standings standings_;
};

}  // namespace ctl
