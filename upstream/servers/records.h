#pragma once

#include <ctime>
#include <string_view>
#include <vector>

#include "common/upstream/server_address.h"

namespace upstream {

// What resolvers and DHCP clients write down about the network's servers, as texts.

/// The servers that a record names.
struct Record {
  bool is_understood = true;  ///< false: it has an unknown form
  std::vector<ServerAddress> servers;
};

/// A file as resolv.conf(5) describes it: "nameserver ADDRESS".
Record ReadResolverFile(std::string_view text);

/// A file of words and values: the addresses behind "DNS=".
Record ReadAssignments(std::string_view text);

/// dhclient's leases: the servers of the last lease for each interface that has not run out.
Record ReadLeases(std::string_view text, std::time_t now);

/// What `scutil` shows of a dictionary: the addresses in the arrays "ServerAddresses".
Record ReadDictionaries(std::string_view text);

}  // namespace upstream
