#pragma once

#include <string>
#include <vector>

#include "companion/host/host.h"
#include "companion/host/journal.h"

namespace ctl {

// macOS: the servers that each network service is told to ask in place of those of its network.

/// Has every active network service ask the proxy, each with a record from `number` on. Empty when
/// done; otherwise why not, as a sentence. Does nothing where there is no `networksetup`.
std::string PointSettingsAtProxy(const HostPlaces& places, Journal& journal, int number);

/// Gives a network service its servers back. Empty when done; otherwise why not.
std::string PutBackSettings(const HostPlaces& places, const std::string& service,
                            const std::string& servers);

}  // namespace ctl
