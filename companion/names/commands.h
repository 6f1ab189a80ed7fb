#pragma once

#include <string>

namespace ctl {

// The commands on names. Each prints what it did and returns the exit status: kOk, kNo when there
// is no such name or list, kError when a file can't be read or written or the host map is left as
// it is, kUsage for a name or address that could never work.

/// Makes the host map from the people's names, as `watch` does on a change.
int RunNameApply();
/// Gives a name an address in `names`, in the place where it stands or at the end.
int RunNameAdd(const std::string& written, const std::string& address);
/// Takes a name out of `names`.
int RunNameRemove(const std::string& written);
/// Prints the names that hold `part`, with their addresses and where they stand.
int RunNameList(const std::string& part);
/// Tells what the proxy does with a name, and why; asks it when it runs.
int RunNameExplain(const std::string& written);
/// Takes a host map that was written by hand over into `names`.
int RunNameImport();

/// Takes a list of names into `names.d`, all with the address `address`.
int RunListAdd(const std::string& file, const std::string& address);
/// Removes a list by its name.
int RunListRemove(const std::string& name);
/// Prints the lists and how many of their names are in use.
int RunListShow();

}  // namespace ctl
