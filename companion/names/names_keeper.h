#pragma once

#include <string>

#include "companion/names/files.h"

namespace ctl {

/// Keeps the host map up to date with the people's names, where this process may write it.
/// Elsewhere a process that may write it does so. Says on standard output what it did, or why it
/// stops.
class NamesKeeper {
 public:
  /// One look at the files' times and sizes. A change counts only at the second look that finds the
  /// files the same, because somebody may still be editing them.
  void Look();

 private:
  NamesPlaces places_;
  std::string seen_;
  std::string done_;
};

}  // namespace ctl
