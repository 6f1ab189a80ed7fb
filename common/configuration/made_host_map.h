#pragma once

#include <string_view>

namespace ctl {

/// How the first line begins of a host map that was made from the file `names`. It begins with a
/// colon, so the proxy skips it. A checksum of the lines behind it follows.
inline constexpr std::string_view kMadeHostMapMark =
    ":made by dns_proxy_ctl from names and names.d, edit those; checksum ";

/// Whether `line` is such a line.
inline bool TellsHowMade(std::string_view line) {
  return line.substr(0, kMadeHostMapMark.size()) == kMadeHostMapMark;
}

}  // namespace ctl
