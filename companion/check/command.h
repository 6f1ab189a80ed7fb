#pragma once

#include <string>

#include "dns_proxy_mac/startup/configuration_files.h"

namespace ctl {

struct CheckOptions {
  std::string server_file = kServerFile;
  std::string host_map_file = kHostMapFile;
  /// Warnings make the exit status kNo too.
  bool strict = false;
  bool json = false;
};

/// Reads both files as the proxy does and tells everything in them that will not do what its author
/// meant, on standard output. kOk, kNo or kError.
int RunCheck(const CheckOptions& options);

/// How many findings `RunCheck` would print for the proxy's own two files.
struct CheckVerdict {
  std::size_t errors;
  std::size_t warnings;
  std::size_t servers;
  std::size_t host_map_entries;
};
CheckVerdict CheckQuietly();

}  // namespace ctl
