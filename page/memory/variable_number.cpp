#include "page/memory/variable_number.h"

#include <cstddef>

namespace page {
namespace {

constexpr unsigned kBits = 7;
constexpr std::uint64_t kMore = 0x80;
constexpr std::size_t kLongest = 10;

}  // namespace

void AppendVariableNumber(std::uint64_t number, std::string& bytes) {
  while (number >= kMore) {
    bytes += static_cast<char>((number & (kMore - 1)) | kMore);
    number >>= kBits;
  }
  bytes += static_cast<char>(number);
}

bool TakeVariableNumber(std::string_view& bytes, std::uint64_t& number) {
  std::uint64_t taken = 0;
  for (std::size_t at = 0; at < bytes.size() && at < kLongest; ++at) {
    const auto byte = static_cast<unsigned char>(bytes[at]);
    taken |= (byte & (kMore - 1)) << (kBits * at);
    if (byte >= kMore) continue;
    bytes.remove_prefix(at + 1);
    number = taken;
    return true;
  }
  return false;
}

}  // namespace page
