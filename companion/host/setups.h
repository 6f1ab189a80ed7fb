#pragma once

#include <string>
#include <vector>

#include "companion/host/host.h"
#include "companion/host/journal.h"

namespace ctl {

/// Linux: the changes that have this host ask the proxy, in their order: first each program that
/// writes the resolver file is kept from it, or told of the proxy, then the file itself is changed.
/// The programs' own records of the network's servers go on being true.
std::vector<HostChange> ChangesFor(const HostPlaces& places);

/// The servers that the host asks now, in the form of a resolver file, but for those of the host
/// itself: what is known of the network once the file is changed.
std::string ServersOfHost(const HostPlaces& places);

}  // namespace ctl
