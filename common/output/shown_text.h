#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ctl {

/// `text` in a form that may be shown on any terminal and put into any report: printable ASCII as
/// it is, every other byte as a backslash and three decimal digits, a backslash as two (RFC 1035
/// section 5.1). A digit behind such a number becomes a number itself, so that the two can't be
/// read as one. Names in a trace come from whoever sends queries, so they may hold anything.
std::string Shown(std::string_view text);

/// The same in double quotes, with a backslash before quotes in the text. The middle of a text of
/// more than some eighty characters is left out.
std::string Quoted(std::string_view text);

/// `count` with a comma between groups of three digits: 1,234,567.
std::string Grouped(std::uint64_t count);

/// `count` and the noun, as one or several: "1 line", "2,000 lines".
std::string Counted(std::uint64_t count, std::string_view one, std::string_view several);

/// Counted for nouns with a plain s.
std::string Counted(std::uint64_t count, std::string_view one);

}  // namespace ctl
