#pragma once

#include <string>

#include "companion/host/host.h"
#include "companion/host/journal.h"

namespace ctl {

/// Has a program that runs take up its changed file. Empty when done, or when there is none that
/// runs; otherwise a sentence that says what to do.
std::string TellReader(const HostPlaces& places, Reader reader);

/// Has the service manager start, or end, the service that keeps the host answered, where there is
/// one.
void StartKeeper(const HostPlaces& places);
void StopKeeper(const HostPlaces& places);

}  // namespace ctl
