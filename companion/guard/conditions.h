#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace ctl {

/// What part of a datagram a condition looks at. Offsets are counted from the datagram's first
/// byte, behind the UDP header.
enum class Field {
  kLength,  ///< bytes of the datagram; the offset is not looked at
  kByte,
  kUint16,  ///< two bytes in network order
};

enum class Relation { kBelow, kAtLeast, kIs, kIsNot };

/// One reason to keep a datagram out. A field that reaches past the datagram is a reason too.
struct Condition {
  Field field;
  std::uint32_t offset;
  Relation relation;
  std::uint32_t value;
};

/// The datagrams that would end the proxy's intake of queries, and no others.
std::vector<Condition> WhatEndsIntake();

/// The datagrams that would end the proxy's relay of responses, and no others.
std::vector<Condition> WhatEndsRelay();

/// What one of the proxy's sockets is guarded against. A datagram is let in when no condition holds
/// and, where the senders are known, one of them has sent it.
struct SocketRules {
  std::vector<Condition> keep_out;
  std::optional<std::vector<in_addr>> senders;
};

/// Whether `sender` is one of the addresses that upstream servers on this host listen on, which
/// answer from port 53 alone. Any user may send from any other port of such an address.
bool AnswersFromPort53Only(in_addr sender);

}  // namespace ctl
