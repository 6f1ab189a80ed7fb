#pragma once

#include <string_view>

namespace ctl {

/// How the first line of a host map begins that was made from the people's names. It begins with a
/// colon, so the proxy skips it; a checksum of the lines behind it follows.
inline constexpr std::string_view kMadeHostMapMark =
    ":made by dns_proxy_ctl from names and names.d, edit those; checksum ";

/// Whether `line` is such a line.
inline bool TellsHowMade(std::string_view line) {
  return line.substr(0, kMadeHostMapMark.size()) == kMadeHostMapMark;
}

}  // namespace ctl
