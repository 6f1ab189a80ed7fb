#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

/// What a question section has to decode to, worked out by a second, plainer decoder that shares
/// nothing with the proxy's.
struct ExpectedName {
  /// Every byte that goes into the caller's buffer, from its start; what lies behind is untouched.
  std::string written;
  /// Set when the section has two bytes for them.
  std::optional<std::uint16_t> type;
  std::optional<std::uint16_t> type_class;

  /// What a reader of the buffer sees, given that it was zero: the bytes before the first NUL.
  std::string Text() const { return written.substr(0, written.find('\0')); }
};

/// `readable` starts with the section's `length` bytes and goes on with what lies behind them;
/// `capacity` is the size of the caller's buffer.
ExpectedName ExpectedNameOf(const std::string& readable, std::size_t length, std::size_t capacity);
