#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "common/upstream/server_address.h"

namespace upstream {

/// What the file of servers says, in its order.
struct ServerList {
  struct Entry {
    bool is_network = false;  ///< the word `network`; otherwise `address`
    ServerAddress address;
  };
  std::vector<Entry> entries;
  /// Why the text cannot be used, as a sentence; empty when it can.
  std::string complaint;

  bool NamesNetwork() const;
};

/// One server a line: an address, or the word `network`. Empty lines count for nothing, and nor
/// does what follows a # or stands around in blanks. The text is refused as a whole when a line is
/// anything else or names this program or the proxy, and when it names no server at all: it may be
/// half of what is being written.
ServerList ReadServerList(std::string_view text);

/// The servers to be asked, each once, no more than there are places for. `network` stands for the
/// servers of that name.
std::vector<ServerAddress> Servers(const ServerList& list,
                                   const std::vector<ServerAddress>& network);

}  // namespace upstream
