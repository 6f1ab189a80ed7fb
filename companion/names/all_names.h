#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "companion/names/files.h"

namespace ctl {

/// What becomes of a name that stands in one of the people's files.
enum class Standing {
  kCounts,      ///< it goes into the host map
  kLaterLine,   ///< it has an address already, from an earlier line
  kNeverListed  ///< it is on a list, and `never_listed` excludes it
};

/// A name and its address, where they stand. The texts live as long as the call that shows them.
struct NamedAddress {
  const std::string& path;
  std::size_t line;
  const std::string& name;
  std::string_view address;
  Standing standing;
};

/// What there is to say about the files.
struct NamesRemarks {
  /// One sentence each: lines that nothing is made of, names that have an address already. Of each
  /// file the first twenty and the number of the others.
  std::vector<std::string> remarks;
  /// Why the files can't be read, as a sentence: then not all names were shown. Usually empty.
  std::string problem;
  /// There is neither `names` nor any file in `names.d`.
  bool is_without_sources = false;
};

/// Shows every name of `names`, then of the files of `names.d` in the order of their names. The
/// first address of a name counts, and `names` comes before the lists.
NamesRemarks ForEachName(const NamesPlaces& places,
                         const std::function<void(const NamedAddress&)>& visit);

}  // namespace ctl
