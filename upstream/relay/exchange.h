#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "upstream/asking/lane.h"
#include "upstream/relay/asker.h"
#include "upstream/wire/time.h"

namespace upstream {

class Exchange;

/// Told when the resolver library is done with an exchange; see AskedQuery::Ended.
class ExchangeOwner {
 public:
  virtual void Ended(Exchange& exchange, const Outcome& outcome) = 0;

 protected:
  ~ExchangeOwner() = default;
};

/// One query in flight at a server, from its arrival until the library is done with it. That may be
/// long after the asker has got a response.
class Exchange final : public AskedQuery {
 public:
  void Ended(const Outcome& outcome) override { owner->Ended(*this, outcome); }
  /// Whether the deadline with this serial is the one that was set last, and still counts.
  bool IsCurrent(std::uint64_t serial) const { return is_waiting && deadline == serial; }
  View Query() const { return {query.data(), query.size()}; }

  ExchangeOwner* owner = nullptr;
  Asker asker;
  Bytes query;  ///< as it came
  Time asked;
  Transport transport = Transport::kUdp;
  bool is_waiting = false;  ///< the asker has no response yet
  std::uint64_t deadline = 0;
};

/// A server's exchanges: a bounded number, of bounded size together.
class ExchangePool {
 public:
  ExchangePool(ExchangeOwner& owner, std::size_t most, std::size_t most_bytes);

  /// Null when too much is in flight.
  Exchange* Take(const Asker& asker, View query, Time now);
  void GiveBack(Exchange& exchange);
  std::size_t UnderWay() const { return exchanges_.size() - free_.size(); }

  /// All of them, including those that are not in flight.
  std::vector<Exchange>& All() { return exchanges_; }

 private:
  std::vector<Exchange> exchanges_;  // never grows: others hold pointers
  std::vector<Exchange*> free_;
  std::size_t bytes_left_;
};

}  // namespace upstream
