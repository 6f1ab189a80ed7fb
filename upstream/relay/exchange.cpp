#include "upstream/relay/exchange.h"

namespace upstream {

// A query as large as this is rare; its storage is not kept for the next one.
constexpr std::size_t kKeptQueryBytes = 512;

ExchangePool::ExchangePool(ExchangeOwner& owner, std::size_t most, std::size_t most_bytes)
    : exchanges_(most), bytes_left_(most_bytes) {
  free_.reserve(most);
  for (Exchange& exchange : exchanges_) {
    exchange.owner = &owner;
    free_.push_back(&exchange);
  }
}

Exchange* ExchangePool::Take(const Asker& asker, View query, Time now) {
  if (free_.empty() || query.count > bytes_left_) return nullptr;
  Exchange* exchange = free_.back();
  free_.pop_back();
  bytes_left_ -= query.count;
  exchange->asker = asker;
  exchange->query.assign(query.bytes, query.bytes + query.count);
  exchange->asked = now;
  exchange->transport = Transport::kUdp;
  exchange->is_waiting = true;
  return exchange;
}

void ExchangePool::GiveBack(Exchange& exchange) {
  bytes_left_ += exchange.query.size();
  if (exchange.query.capacity() > kKeptQueryBytes) Bytes().swap(exchange.query);
  exchange.is_waiting = false;
  free_.push_back(&exchange);
}

}  // namespace upstream
