#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ctl {

/// Where people write names, and where the host map is that is made from them.
struct NamesPlaces {
  std::string names = "/var/log/Varnok/names";
  std::string lists = "/var/log/Varnok/names.d";
  std::string never_listed = "/var/log/Varnok/never_listed";
  std::string host_map = "/var/log/Varnok/hostmap";
};

/// Reads all of a text file of at most 256 MB. Empty when it was read; otherwise the reason why
/// not, as a clause: missing (then `is_missing` is true), a directory, not text, too large,
/// refused, or written to at the same time.
std::string ReadTextFile(const std::string& path, std::string& text, bool& is_missing);

/// Writes a whole file that everybody may read: beside the old one, then by a rename. An
/// interruption at any moment leaves the old file or the new one. Empty when done; otherwise why
/// not, as a clause.
std::string WriteTextFile(const std::string& path, std::string_view text);

/// Removes what a `WriteTextFile` of `path` has left that was ended in its middle.
void RemoveUnfinished(const std::string& path);

/// The regular files of a folder, except hidden ones, in the order of their names; none when there
/// is no such folder. `problem` says why it can't be read.
std::vector<std::string> FilesIn(const std::string& folder, std::string& problem);

}  // namespace ctl
