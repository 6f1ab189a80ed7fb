#pragma once

#include <cstddef>

#include "companion/check/report.h"

namespace ctl {

/// The proxy's list of resolution methods, as long as the two files make it.
struct MethodList {
  std::size_t servers = 0;
  bool has_host_map = false;

  std::size_t Length() const { return servers + (has_host_map ? 1 : 0); }

  /// How long a query believes the list to be: the length is kept in 16 bits.
  std::size_t LengthAsSeen() const { return Length() & 0xFFFF; }

  /// The line of the server at `position` in the list, counted from 0.
  std::size_t ServerLine(std::size_t position) const { return position + (has_host_map ? 0 : 1); }

  /// Whether a reverse name finds a method behind the position that marks it.
  bool ReachesReverseNames() const;
  /// Whether a query's position in the list comes round to 0 again before it reaches the end.
  bool Circles() const;
};

/// What is wrong with the list as such: too short, or longer than its counters. The report's file
/// is that of the servers.
void CheckMethodList(const MethodList& list, Report& report);

}  // namespace ctl
