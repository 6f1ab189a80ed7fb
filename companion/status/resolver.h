#pragma once

#include <string>

namespace ctl {

/// Where the host's resolver file sends the questions of applications, as far as the first server
/// of it goes: that one is asked first.
struct ResolverTarget {
  bool is_proxy;
  std::string words;  ///< "/etc/resolv.conf points at 127.0.0.1"
};
ResolverTarget ReadResolverTarget();

}  // namespace ctl
