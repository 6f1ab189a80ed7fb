#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ctl {

/// One line of a file of names, taken apart. It is empty for an empty line or a comment.
///
/// Two styles: `10.0.0.1 mail.example mail`, as in a hosts file, and `mail.example:10.0.0.1`, as in
/// the host map. A comment goes from # to the end of the line.
struct NamesLine {
  std::string_view address;             ///< dotted IPv4
  std::vector<std::string_view> names;  ///< as they are written
  std::string problem;                  ///< why nothing is made of the line, as a clause
};

/// Takes `line` apart; the result points into it. Reuses the memory of `result`.
void ReadNamesLine(std::string_view line, NamesLine& result);

/// The line up to its comment, without blanks and a carriage return around it.
std::string_view WithoutComment(std::string_view line);

/// The words of a text, separated by blanks or tabs. Reuses the memory of `words`.
void SplitWords(std::string_view text, std::vector<std::string_view>& words);

/// Calls `visit(line, number)` for each line of a text, counted from 1; a byte order mark in front
/// and line ends are left out. A single carriage return is a line end, as on old systems.
template <typename Visit>
void ForEachLine(std::string_view text, Visit visit) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
    text.remove_prefix(kByteOrderMark.size());
  }
  const char end_of_line = text.find('\n') == std::string_view::npos ? '\r' : '\n';
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::size_t end = text.find(end_of_line);
    visit(text.substr(0, end), number);
    if (end == std::string_view::npos) return;
    text.remove_prefix(end + 1);
  }
}

/// Whether `text` is a dotted IPv4 address of four decimal parts, or an IPv6 address.
bool IsIpv4Text(std::string_view text);
bool IsIpv6Text(std::string_view text);

}  // namespace ctl
