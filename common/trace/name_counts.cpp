#include "common/trace/name_counts.h"

#include <algorithm>

namespace ctl {

void NameCounts::Add(std::string_view name) {
  key_.assign(name);
  const auto found = counts_.find(key_);
  if (found != counts_.end()) {
    ++found->second;
    return;
  }
  if (counts_.size() >= kMostNames || bytes_ >= kMostBytes) Forget();
  counts_.emplace(key_, 1);
  bytes_ += key_.size();
}

// The lower half is removed, and all names with the same count as its highest one.
void NameCounts::Forget() {
  std::vector<std::uint64_t> numbers;
  numbers.reserve(counts_.size());
  for (const auto& [name, count] : counts_) numbers.push_back(count);
  const auto middle = numbers.begin() + static_cast<std::ptrdiff_t>(numbers.size() / 2);
  std::nth_element(numbers.begin(), middle, numbers.end());
  const std::uint64_t limit = *middle;
  for (auto entry = counts_.begin(); entry != counts_.end();) {
    const bool goes = entry->second <= limit;
    if (goes) bytes_ -= entry->first.size();
    entry = goes ? counts_.erase(entry) : std::next(entry);
  }
  has_forgotten_ = true;
}

std::vector<NameCounts::Count> NameCounts::Busiest(std::size_t most) const {
  using Entry = const std::pair<const std::string, std::uint64_t>*;
  std::vector<Entry> entries;
  entries.reserve(counts_.size());
  for (const auto& entry : counts_) entries.push_back(&entry);
  const std::size_t kept = std::min(most, entries.size());
  std::partial_sort(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(kept),
                    entries.end(), [](Entry left, Entry right) {
                      if (left->second != right->second) return left->second > right->second;
                      return left->first < right->first;
                    });
  std::vector<Count> busiest;
  for (std::size_t at = 0; at < kept; ++at) {
    busiest.push_back({entries[at]->first, entries[at]->second});
  }
  return busiest;
}

}  // namespace ctl
