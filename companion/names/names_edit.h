#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ctl {

/// A file of names with one name added or removed; comments, blanks and order stay.
struct NamesEdit {
  std::string text;
  /// The line that has, or had, the name, counted from 1; 0 when no line has.
  std::size_t line = 0;
  bool has_changed = false;
};

/// Gives `name` (as `ReadWrittenName` makes it) the address `address`: in the line in which it
/// stands first, or in a new line at the end.
NamesEdit AddName(std::string_view text, const std::string& name, const std::string& address);

/// Removes `name` from every line. A line with no other name is removed, except for its comment.
NamesEdit RemoveName(std::string_view text, const std::string& name);

}  // namespace ctl
