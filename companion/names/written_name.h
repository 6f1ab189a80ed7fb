#pragma once

#include <string>
#include <string_view>

namespace ctl {

/// A name that a person has written, in the one form in which the host map finds it.
struct WrittenName {
  std::string name;     ///< ASCII, lower case, no final dot; empty when there is a problem
  std::string problem;  ///< why it could never be asked or answered, as a clause; usually empty
};

/// Folds case, removes a final dot and turns an international name (UTF-8) into the form that
/// begins with xn-- (RFC 5891). Refuses wildcards, reverse names, addresses and names that the
/// proxy can't decode: over 1,023 characters, a label over 127.
WrittenName ReadWrittenName(std::string_view written);

/// Whether names beyond ASCII can be turned: the library that does it was there at build time.
bool KnowsInternationalNames();

}  // namespace ctl
