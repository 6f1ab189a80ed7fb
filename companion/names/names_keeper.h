#pragma once

#include <string>

#include "companion/names/files.h"

namespace ctl {

/// Keeps the host map as the people's names make it, look by look, where this process may write it;
/// elsewhere whoever may does it. Says on standard output what it did or why it leaves off.
class NamesKeeper {
 public:
  /// One look at the files' times and sizes. A change is taken up at the second look that finds it
  /// unchanged, because somebody may be at work on it.
  void Look();

 private:
  NamesPlaces places_;
  std::string seen_;
  std::string done_;
};

}  // namespace ctl
