#pragma once

#include <string>
#include <vector>

#include "companion/host/host.h"
#include "companion/host/journal.h"

namespace ctl {

/// Writes the change into the journal under `number`, makes it, and tells the file's reader. Empty
/// when done. Otherwise why not, as a sentence: what is made by then is in the journal.
std::string MakeChange(const HostPlaces& places, Journal& journal, int number,
                       const HostChange& change);

/// Undoes the change of a record, made in full, in part or not at all, and then removes the record.
/// What somebody else has written there since stays; `sentences` tells so. False when it could not
/// be undone: the record stays.
bool UndoChange(const HostPlaces& places, Journal& journal, int number,
                std::vector<std::string>& sentences);

}  // namespace ctl
