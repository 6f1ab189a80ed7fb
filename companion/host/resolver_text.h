#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ctl {

/// Stands in every file that `on` writes.
inline constexpr std::string_view kMark = "# Written by dns_proxy_ctl on; dns_proxy_ctl off";

/// A resolver file that names the proxy alone, with the search list and the options of `before`
/// that the proxy can live with.
std::string ResolverTextFor(std::string_view before);

/// The servers that a resolver file names, but for those of this host itself.
std::vector<std::string> NetworkServersIn(std::string_view text);

/// Whether the first server of a resolver file is the proxy.
bool AsksProxy(std::string_view text);

}  // namespace ctl
