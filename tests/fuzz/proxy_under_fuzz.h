#pragma once

#include "tests/fuzz/expected_proxy.h"
#include "tests/fuzz/substituted_sockets.h"

/// The proxy's shared objects on one side and what is expected of them on the other, for the length
/// of one fuzz input. One at a time.
class ProxyUnderFuzz {
 public:
  /// `list` chooses one of the method lists (its low three bits) and which sends fail (bit 3: to
  /// servers, bit 4: to applications).
  explicit ProxyUnderFuzz(std::uint8_t list);
  ProxyUnderFuzz(const ProxyUnderFuzz&) = delete;
  ProxyUnderFuzz& operator=(const ProxyUnderFuzz&) = delete;
  ~ProxyUnderFuzz();

  /// The id of the next query.
  void SetNextId(std::uint16_t id);

  /// Files a request that is in flight, on both sides.
  void File(std::uint16_t id, const ExpectedRequest& request);

  /// Hands one datagram to the intake or the relay and checks all that it has led to.
  void TakeQuery(const std::string& datagram, const Sender& sender);
  void TakeResponse(const std::string& datagram, const Sender& sender, const std::string& from);

  /// Both handlers give up when their receive call fails.
  void FailBothReceives();

  const ExpectedProxy& Expected() const { return expected_; }

 private:
  void CheckOutcome();
  ExpectedProxy expected_;
};

/// The address of the server at `position` of a list of servers.
std::string ServerAddress(unsigned position);
