#pragma once

#include <charconv>
#include <cstddef>
#include <cstring>

#include "dns_proxy_mac/mutex.h"

/// The lines that are printed and not yet written out. Whoever calls anything here holds the
/// output's lock; only `Line` and the output itself do.
///
/// It all stands in a header, and is inlined to the last call, because a query prints nine to
/// fifteen lines: with the format known at compile time, a line is a few copies of known length.
namespace trace::buffer {

inline constexpr std::size_t kSize = 65536;
inline constexpr std::size_t kIntegerDigits = 11;  // a sign and the ten digits of 32 bits

// Without destructors: a worker that outlives main may still come here during exit.
extern Mutex g_Lock;
extern char g_Bytes[kSize] GUARDED_BY(g_Lock);
extern std::size_t g_Used GUARDED_BY(g_Lock);

/// Appends a text for which there is not enough room, writing out each time that the buffer is
/// full.
void AppendInParts(const char* text, std::size_t length) REQUIRES(g_Lock);

inline void Append(const char* text, std::size_t length) REQUIRES(g_Lock) {
  if (length > kSize - g_Used) {
    AppendInParts(text, length);
    return;
  }
  std::memcpy(g_Bytes + g_Used, text, length);
  g_Used += length;
}

template <typename Integer>
void AppendInteger(Integer value) REQUIRES(g_Lock) {
  if (kSize - g_Used >= kIntegerDigits) {
    char* const digits = g_Bytes + g_Used;
    g_Used += static_cast<std::size_t>(std::to_chars(digits, digits + kIntegerDigits, value).ptr -
                                       digits);
    return;
  }
  char digits[kIntegerDigits];
  const auto result = std::to_chars(digits, digits + kIntegerDigits, value);
  AppendInParts(digits, static_cast<std::size_t>(result.ptr - digits));
}

inline void AppendValue(const char* text) REQUIRES(g_Lock) { Append(text, std::strlen(text)); }
inline void AppendValue(int value) REQUIRES(g_Lock) { AppendInteger(value); }
inline void AppendValue(unsigned value) REQUIRES(g_Lock) { AppendInteger(value); }

[[gnu::always_inline]] inline void AppendFormatted(const char* format) REQUIRES(g_Lock) {
  AppendValue(format);
}

/// Text up to the first placeholder, the first value in its place, then the rest.
template <typename Value, typename... Values>
[[gnu::always_inline]] inline void AppendFormatted(const char* format, Value value,
                                                   Values... values) REQUIRES(g_Lock) {
  const char* placeholder = std::strchr(format, '%');
  Append(format, static_cast<std::size_t>(placeholder - format));
  AppendValue(value);
  AppendFormatted(placeholder + 2, values...);
}

}  // namespace trace::buffer
