#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace page {

/// Appends `number` in as few bytes as it needs: seven bits a byte, lowest first, the high bit set
/// in all but the last.
void AppendVariableNumber(std::uint64_t number, std::string& bytes);

/// Removes one from the front of `bytes`. False, with `bytes` as it was, when there is no whole
/// one.
bool TakeVariableNumber(std::string_view& bytes, std::uint64_t& number);

}  // namespace page
