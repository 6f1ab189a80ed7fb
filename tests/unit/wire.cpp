#include "tests/unit/wire.h"

#include <algorithm>
#include <charconv>
#include <iomanip>
#include <stdexcept>
#include <string_view>

namespace {

char HexPair(std::string_view pair) {
  unsigned value = 0;
  const char* const end = pair.data() + pair.size();
  const auto result = std::from_chars(pair.data(), end, value, 16);
  if (pair.size() != 2 || result.ptr != end || result.ec != std::errc()) {
    throw std::invalid_argument("neither a hex pair nor quoted: " + std::string(pair));
  }
  return static_cast<char>(value);
}

}  // namespace

Wire operator""_wire(const char* text, std::size_t length) {
  const std::string_view all(text, length);
  Wire wire;
  std::size_t at = 0;
  while ((at = all.find_first_not_of(' ', at)) != std::string_view::npos) {
    if (all[at] == '\'') {
      const std::size_t quote = all.find('\'', at + 1);
      if (quote == std::string_view::npos) throw std::invalid_argument("a quote is missing");
      wire.bytes += all.substr(at + 1, quote - at - 1);
      at = quote + 1;
    } else {
      const std::size_t blank = std::min(all.find(' ', at), all.size());
      wire.bytes += HexPair(all.substr(at, blank - at));
      at = blank;
    }
  }
  return wire;
}

Wire operator+(const Wire& first, const Wire& second) { return Wire{first.bytes + second.bytes}; }

bool operator==(const Wire& first, const Wire& second) { return first.bytes == second.bytes; }

std::ostream& operator<<(std::ostream& out, const Wire& wire) {
  out << wire.bytes.size() << " bytes:" << std::hex << std::uppercase << std::setfill('0');
  for (const char byte : wire.bytes) {
    out << ' ' << std::setw(2) << static_cast<unsigned>(static_cast<unsigned char>(byte));
  }
  return out << std::dec;
}

Wire Repeated(std::size_t count, char value) { return Wire{std::string(count, value)}; }

Wire WireAt(const void* bytes, std::size_t length) {
  return Wire{std::string(static_cast<const char*>(bytes), length)};
}
