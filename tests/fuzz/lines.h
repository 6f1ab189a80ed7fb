#pragma once

#include <string>
#include <vector>

/// The lines of a text: what stands between newlines. Behind the last newline there is a line only
/// if something stands there.
inline std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::string line;
  for (const char c : text) {
    if (c == '\n') {
      lines.push_back(line);
      line.clear();
    } else {
      line += c;
    }
  }
  if (!line.empty()) lines.push_back(line);
  return lines;
}

/// What a text is where it is taken as a C string.
inline std::string UpToNul(const std::string& text) { return text.substr(0, text.find('\0')); }
