#pragma once

#include <string_view>

namespace ctl {

/// How the first line begins of a host map that was made from the file `names`. It begins with a
/// colon, so the proxy skips it. A checksum of the lines behind it follows.
inline constexpr std::string_view kMadeHostMapMark =
    ":made by dns_proxy_ctl from names and names.d, edit those; checksum ";

/// The host map that an installation makes where there is none, for a first try.
inline constexpr std::string_view kSampleHostMap = "proxy.example:10.0.0.1\n";

/// Whether `line` is such a line.
inline bool TellsHowMade(std::string_view line) {
  return line.substr(0, kMadeHostMapMark.size()) == kMadeHostMapMark;
}

}  // namespace ctl
