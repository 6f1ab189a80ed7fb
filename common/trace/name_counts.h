#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace ctl {

/// How often each name was asked for, in bounded memory: when there are too many names, those that
/// were asked for least are forgotten.
class NameCounts {
 public:
  static constexpr std::size_t kMostNames = 200000;
  static constexpr std::size_t kMostBytes = 16 << 20;  // of names

  void Add(std::string_view name);

  struct Count {
    std::string name;
    std::uint64_t queries;
  };
  /// The names with the highest counts, highest first, at most `most` of them.
  std::vector<Count> Busiest(std::size_t most) const;

  /// Whether names were forgotten, so that counts are lower bounds.
  bool HasForgotten() const { return has_forgotten_; }

 private:
  void Forget();

  std::unordered_map<std::string, std::uint64_t> counts_;
  std::string key_;  // kept for its storage
  std::size_t bytes_ = 0;
  bool has_forgotten_ = false;
};

}  // namespace ctl
