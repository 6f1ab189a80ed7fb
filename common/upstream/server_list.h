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

/// One server a line: an address, or the word `network`. Empty lines, what follows a #, and blanks
/// around an entry are ignored. The text is refused as a whole when a line is anything else, or
/// names this program or the proxy. It is also refused when it names no server at all: it may be
/// only half written.
ServerList ReadServerList(std::string_view text);

/// The servers to be asked, each once, at most as many as there are listening addresses. `network`
/// stands for the servers of that name.
std::vector<ServerAddress> Servers(const ServerList& list,
                                   const std::vector<ServerAddress>& network);

}  // namespace upstream
