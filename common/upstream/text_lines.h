#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace upstream {

/// Whether it is all ASCII text: no byte but printable ones, tabs and line ends.
bool IsText(std::string_view bytes);

/// The lines, without their ends.
std::vector<std::string_view> Lines(std::string_view text);

/// The pieces between blanks and any of `separators`.
std::vector<std::string_view> Words(std::string_view line, std::string_view separators = "");

/// A whole file of at most a megabyte. Nothing when it can't be read, is larger, or changes
/// meanwhile.
std::optional<std::string> ReadFile(const std::string& path);

}  // namespace upstream
