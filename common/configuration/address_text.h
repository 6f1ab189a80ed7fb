#pragma once

#include <netinet/in.h>

#include <string>
#include <string_view>

namespace ctl {

/// What the system's address parser, which the proxy uses, makes of an address text. The text is a
/// server's line, or what follows the colon of a host map line.
///
/// Besides four decimal parts, parsers accept fewer parts, octal and hexadecimal numbers, and
/// anything behind a first white space. What they refuse becomes the all-ones address.
struct AddressReading {
  bool accepted = false;
  in_addr address{};          ///< network byte order; all ones when refused
  std::string_view spelling;  ///< the text up to its first white space
  std::string_view behind;    ///< the rest: white space, then whatever follows

  /// The address as dotted text, in its one usual form.
  std::string Dotted() const;
  /// Whether `spelling` is that form.
  bool IsUsualForm() const;
  /// Whether the address is followed by anything but a carriage return at the very end.
  bool HasMoreBehind() const;
};

/// `text` outlives the result; only what is in front of its first NUL counts.
AddressReading ReadAddress(const std::string& text);

/// Why an accepted spelling is not the usual form: "fewer than four parts", and so on.
std::string OddForm(std::string_view spelling);

/// What a refused text is, if not a dotted IPv4 address, as a clause: `"::1" is an IPv6 address`.
std::string WhatItIsInstead(std::string_view text);

/// White space as the C library's parsers see it, a carriage return and a tab included.
bool IsWhiteSpace(char character);

}  // namespace ctl
