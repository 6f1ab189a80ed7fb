#pragma once

#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

using Datagram = std::string;
using Sink = std::function<void(const Datagram&)>;

/// A question for a.bc as an application asks it.
Datagram GoodQuery();

/// Every question count, and every pair of first bytes of the name, each with the lengths at which
/// a verdict could change.
void ForEachEdge(const Sink& sink);

/// Datagrams of all lengths, most of them nearly a good query.
class RandomDatagrams {
 public:
  explicit RandomDatagrams(std::uint32_t seed) : random_(seed) {}

  Datagram Next();

  /// Equally long datagrams, but for the last one, which may be shorter: what one call of the
  /// system sends where the kernel or the hardware divides it.
  std::vector<Datagram> NextSegments();

 private:
  std::uint32_t Below(std::uint32_t bound);
  char Byte();
  Datagram Anything();
  Datagram NearlyGood();
  Datagram Large();

  std::mt19937 random_;
};
