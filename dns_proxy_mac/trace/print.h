#pragma once

#include <charconv>
#include <cstddef>
#include <cstring>
#include <type_traits>

#include "dns_proxy_mac/trace/lines.h"
#include "dns_proxy_mac/trace/output.h"

/// Puts the lines of `lines.h` into the calling thread's part. With the text known at compile time,
/// a line is a few copies of known length.
namespace trace {

/// The first placeholder at or behind `at`, or the end of `text`.
constexpr std::size_t NextPlaceholder(const char* text, std::size_t at) {
  while (text[at] != 0 && text[at] != '%') ++at;
  return at;
}

/// Whether a placeholder takes a value of this type.
template <typename Value>
constexpr bool IsTakenBy(char placeholder) {
  constexpr bool kNumber = std::is_integral_v<Value> && sizeof(Value) <= sizeof(int);
  switch (placeholder) {
    case 's':
      return std::is_pointer_v<Value> && std::is_convertible_v<Value, const char*>;
    case 'd':
      return kNumber && !std::is_same_v<Value, unsigned>;
    case 'u':
      return kNumber && std::is_unsigned_v<Value>;
    default:
      return false;
  }
}

/// Whether `text` has a placeholder for each of the values, in their order, and no other.
template <typename... Values>
constexpr bool Takes(const char* text) {
  std::size_t at = NextPlaceholder(text, 0);
  bool taken = true;
  ((taken = taken && text[at] != 0 && IsTakenBy<Values>(text[at + 1]),
    at = taken ? NextPlaceholder(text, at + 1) : at),
   ...);
  return taken && text[at] == 0;
}

inline void Append(const char* text) { Append(text, std::strlen(text)); }

template <typename Integer, typename = std::enable_if_t<std::is_integral_v<Integer>>>
void Append(Integer value) {
  constexpr std::size_t kMostDigits = 11;  // a sign and the ten digits of 32 bits
  char digits[kMostDigits];
  const auto [end, error] = std::to_chars(digits, digits + kMostDigits, +value);
  static_cast<void>(error);
  Append(digits, static_cast<std::size_t>(end - digits));
}

template <const auto& kLine, std::size_t kFrom>
void AppendRest() {
  Append(kLine + kFrom, sizeof(kLine) - 1 - kFrom);
}

template <const auto& kLine, std::size_t kFrom, typename Value, typename... Values>
void AppendRest(Value value, Values... values) {
  constexpr std::size_t kAt = NextPlaceholder(kLine, kFrom);
  Append(kLine + kFrom, kAt - kFrom);
  Append(value);
  AppendRest<kLine, kAt + 2>(values...);
}

/// Prints one of the lines, with a value for each of its placeholders. A wrong number or type of
/// values does not compile. Any thread.
template <const auto& kLine, typename... Values>
void Print(Values... values) {
  static_assert(Takes<Values...>(kLine), "the line takes other values");
  AppendRest<kLine, 0>(values...);
}

}  // namespace trace
