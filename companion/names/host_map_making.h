#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "companion/names/files.h"

namespace ctl {

/// Who wrote a host map.
enum class HostMapAuthor {
  kUs,           ///< made from names, or the installation's sample, and unchanged since
  kEditedSince,  ///< made from names, then edited by hand
  kPeople        ///< written by hand
};
HostMapAuthor AuthorOf(std::string_view host_map);

/// What came of bringing the host map up to date.
enum class Renewal {
  kWritten,
  kUnchanged,  ///< it is what the names make already
  kNoSources,  ///< there are no names: the host map is the people's own file
  kRefused     ///< the last good map stays
};

/// Makes the host map from the people's names and, when it differs, replaces the old one as a
/// whole. One that people wrote or edited is overwritten only if `may_take_over`. What there is to
/// say about the files goes to `sentences`; the reason for a refusal comes last.
Renewal RenewHostMap(const NamesPlaces& places, bool may_take_over,
                     std::vector<std::string>& sentences);

/// The file for these pairs: one line `name:address` each, behind the line by which `AuthorOf`
/// recognises the file.
std::string HostMapOf(std::string_view pairs);

/// The host map's lines without the one that says who made it.
std::string_view PairsOf(std::string_view host_map);

}  // namespace ctl
