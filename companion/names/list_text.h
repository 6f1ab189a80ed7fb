#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace ctl {

/// Why a line of a list, or a name in it, is left out.
enum class LeftOut : std::uint8_t {
  kAgain,    ///< it stands in an earlier line
  kIpv6,     ///< a line for IPv6, which the host map can't answer
  kOwnName,  ///< localhost and the like: the host's own
  kNoName    ///< no name that could be asked: wildcards, patterns, addresses
};
inline constexpr std::size_t kLeftOutReasons = 4;

/// A published list, made into a file of names.
struct ListText {
  struct Count {
    std::size_t names = 0;
    std::size_t first_line = 0;
  };

  std::string text;  ///< a line `ADDRESS NAME` for each name
  std::size_t taken = 0;
  std::array<Count, kLeftOutReasons> left_out{};
};

/// Reads a list of domains, one on each line, or one in the style of a hosts file, whose addresses
/// are replaced by `address`. Comments begin with # or !.
ListText ReadList(std::string_view text, const std::string& address);

/// In words, for that many: "repeated", "for IPv6".
const char* InWords(LeftOut reason);

}  // namespace ctl
