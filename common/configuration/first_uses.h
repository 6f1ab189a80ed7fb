#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace ctl {

/// Which entry was the first to use a name. Made for a million names: one look into memory for each
/// of them, where the standard hash map takes three and an allocation.
class FirstUses {
 public:
  /// For at most `most` names, fewer than four thousand million.
  explicit FirstUses(std::size_t most);

  /// The position given with the first use of `name`: `position` itself when this is the first.
  /// `name` outlives the object.
  std::size_t PositionOf(std::string_view name, std::size_t position);

 private:
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t use = 0;  // 1 for the first of `uses_`; 0 when the slot is free
  };
  struct Use {
    std::string_view name;
    std::size_t position;
  };

  std::vector<Slot> slots_;  // a power of two, at most half of them used
  std::vector<Use> uses_;
};

}  // namespace ctl
