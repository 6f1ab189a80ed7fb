#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "dns_proxy_mac/startup/configuration_files.h"

namespace ctl {

struct ProbeResult {
  bool is_well;
  /// A clause that says what came of it: "answered in 0.12 ms".
  std::string words;
  /// Whether nothing at all came back in time.
  bool is_silent = false;
};

/// Asks 127.0.0.1:53 a reverse name, which the proxy answers without asking any server.
ProbeResult ProbeProxy(int timeout_ms);

/// What came of asking one configured server directly.
enum class ServerState {
  kAnswers,
  kSilent,
  kNobodyThere,
  kUnreachable,  ///< the system refuses to send to it
  kProxyItself,  ///< not asked
  kNoAddress     ///< not asked
};

struct ServerProbe {
  std::string address;
  ServerState state;
  double milliseconds;       ///< when it answers
  std::string answer;        ///< what it says, in two or three words, when it answers
  std::string reason;        ///< in the system's words, when it is unreachable
  bool is_off_line = false;  ///< unreachable for lack of a way to its network
};

/// Asks the first `most` servers, all at once as far as descriptors allow.
std::vector<ServerProbe> ProbeServers(const ServerList& servers, std::size_t most, int timeout_ms);

/// "0.12 ms".
std::string InMilliseconds(double milliseconds);

}  // namespace ctl
