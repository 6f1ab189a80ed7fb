#pragma once

#include <cstddef>
#include <string>

/// Bytes of a message's header (RFC 1035, section 4.1.1).
inline constexpr std::size_t kHeader = 12;

/// `at` lies inside.
inline unsigned ByteAt(const std::string& bytes, std::size_t at) {
  return static_cast<unsigned char>(bytes[at]);
}
