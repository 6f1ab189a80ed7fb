#pragma once

#include <cstddef>
#include <ostream>
#include <string>

/// The bytes of a message, written as hex pairs and quoted text:
///   "AB CD 01 00 00 01 00 00 00 00 00 00 04 'mail' 05 'local' 00 00 01 00 01"_wire
/// A comparison that fails prints them as hex pairs.
struct Wire {
  std::string bytes;

  int length() const { return static_cast<int>(bytes.size()); }
};

/// Throws std::invalid_argument for text that is neither hex pairs nor quoted.
Wire operator""_wire(const char* text, std::size_t length);

Wire operator+(const Wire& first, const Wire& second);
bool operator==(const Wire& first, const Wire& second);
std::ostream& operator<<(std::ostream& out, const Wire& wire);

/// `count` times the byte `value`.
Wire Repeated(std::size_t count, char value);

/// How a kept IPv4 address begins: with the family, which on macOS stands behind a length byte that
/// the proxy leaves 0. A macro, to stand beside literals.
#ifdef __APPLE__
#define IPV4_FAMILY "00 02"
#else
#define IPV4_FAMILY "02 00"
#endif

/// The first `length` bytes at `bytes`, whatever they are: to look at records and buffers.
Wire WireAt(const void* bytes, std::size_t length);
