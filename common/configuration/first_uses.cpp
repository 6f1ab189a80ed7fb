#include "common/configuration/first_uses.h"

#include <functional>

namespace ctl {
namespace {

std::size_t SlotsFor(std::size_t names) {
  std::size_t slots = 16;
  while (slots < 2 * names) slots *= 2;
  return slots;
}

}  // namespace

FirstUses::FirstUses(std::size_t most) : slots_(SlotsFor(most)) { uses_.reserve(most); }

std::size_t FirstUses::PositionOf(std::string_view name, std::size_t position) {
  const std::size_t hash = std::hash<std::string_view>()(name);
  const auto mark = static_cast<std::uint32_t>(hash >> 32);
  std::size_t at = hash;
  for (;; ++at) {
    Slot& slot = slots_[at & (slots_.size() - 1)];
    if (slot.use == 0) {
      uses_.push_back({name, position});
      slot = {mark, static_cast<std::uint32_t>(uses_.size())};
      return position;
    }
    const Use& first = uses_[slot.use - 1];
    if (slot.hash == mark && first.name == name) return first.position;
  }
}

}  // namespace ctl
