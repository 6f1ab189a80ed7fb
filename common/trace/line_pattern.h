#pragma once

#include <string_view>

#include "common/trace/event.h"

namespace ctl {

/// Compares `text` with `pattern`, which is plain text but for these fields, and fills `event`:
/// %d  a decimal number with or without a sign, the next of `numbers`
/// %a  a text that ends where the plain text after it first comes: `address`
/// %e  the same: `expected`
/// %n  a text that ends where the plain text after it comes last: `name`. Names come from whoever
///     sends queries, and may hold whatever surrounds them.
/// A text at the end of the pattern takes all that is left. False when they do not agree; `event`
/// is then not to be used.
bool MatchLine(std::string_view text, std::string_view pattern, Event& event);

}  // namespace ctl
