#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace upstream {

/// Numbers that nobody can predict, from the system's generator.
class RandomNumbers {
 public:
  std::uint16_t Next();

 private:
  static constexpr std::size_t kDrawnAtOnce = 128;  // as many as one call gives
  std::array<std::uint16_t, kDrawnAtOnce> drawn_{};
  std::size_t left_ = 0;
};

}  // namespace upstream
