#pragma once

#include <string>
#include <string_view>

namespace ctl {

/// Which questions find the name of a host map line.
enum class Reach {
  kFound,     ///< by every question for it
  kNotAsked,  ///< as it is written, but no program asks for it that way
  kNever      ///< by no question at all
};

struct NameReading {
  Reach reach = Reach::kFound;
  /// False for a comment and for a line with nothing in it.
  bool is_name = true;
  std::string what;    ///< what is odd about the name; empty when it is found
  std::string effect;  ///< what the proxy will do with questions meant for it
};

/// What happens to questions for `name`, which is the text under which the host map files it: up
/// to the first colon or NUL of its line. `reverse_names_come_by`: the method list is so long that
/// the host map gets to see reverse names too.
NameReading ReadName(std::string_view name, bool reverse_names_come_by);

}  // namespace ctl
