#include "tests/fuzz/expected_name.h"

#include "tests/fuzz/wire.h"

namespace {

std::optional<std::uint16_t> NumberAt(const std::string& section, std::size_t at) {
  if (at + 2 > section.size()) return std::nullopt;
  return static_cast<std::uint16_t>(ByteAt(section, at) * 256 + ByteAt(section, at + 1));
}

}  // namespace

ExpectedName ExpectedNameOf(const std::string& readable, std::size_t length, std::size_t capacity) {
  constexpr unsigned kLongestLabel = 0x7F;
  const std::string section = readable.substr(0, length);
  ExpectedName name;
  std::size_t at = 0;
  bool full = false;
  while (!full && at < length && ByteAt(readable, at) != 0) {
    const unsigned label = ByteAt(readable, at);
    if (label > kLongestLabel || name.written.size() + label > capacity) break;
    name.written += readable.substr(at + 1, label);
    full = name.written.size() == capacity;
    if (full) break;
    name.written += '.';
    at += 1 + label;
  }
  if (!name.written.empty() && name.written.back() == '.') name.written.back() = '\0';
  name.type = NumberAt(section, at + 1);
  name.type_class = NumberAt(section, at + 3);
  return name;
}
