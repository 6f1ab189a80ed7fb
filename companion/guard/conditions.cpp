#include "companion/guard/conditions.h"

#include "dns_proxy_mac/engine/dns_message.h"

namespace ctl {
namespace {

constexpr std::uint32_t kQuestionCountAt = 4;
constexpr std::uint32_t kFirstLabelLengthAt = kHeaderSize;
constexpr std::uint32_t kFirstNameByteAt = kHeaderSize + 1;

constexpr std::uint32_t kLoopbackServers = 0x7F003500;  // 127.0.53.0/24
constexpr std::uint32_t kLoopbackServersMask = 0xFFFFFF00;

}  // namespace

std::vector<Condition> WhatEndsIntake() {
  return {
      // The intake refuses what is shorter than a header.
      {Field::kLength, 0, Relation::kBelow, kHeaderSize},
      // It refuses any number of questions but one.
      {Field::kUint16, kQuestionCountAt, Relation::kIsNot, 1},
      // It refuses a name that decodes to nothing. A header alone has no name. Behind a length byte
      // alone the label is completed with zeros, and the first zero ends the name.
      {Field::kLength, 0, Relation::kBelow, kFirstNameByteAt + 1},
      // The name ends where it begins: the root.
      {Field::kByte, kFirstLabelLengthAt, Relation::kIs, 0},
      // The decoder reads the length byte signed and stops at one below zero: compression pointers
      // and the lengths beside them.
      {Field::kByte, kFirstLabelLengthAt, Relation::kAtLeast, 0x80},
      // The first byte of the first label is the end of the name. Any other byte there makes a
      // name, whatever follows: one label always fits into the decoder's output.
      {Field::kByte, kFirstNameByteAt, Relation::kIs, 0},
  };
}

std::vector<Condition> WhatEndsRelay() {
  return {
      // The relay takes what is shorter than a header for a broken socket.
      {Field::kLength, 0, Relation::kBelow, kHeaderSize},
  };
}

bool AnswersFromPort53Only(in_addr sender) {
  return (ntohl(sender.s_addr) & kLoopbackServersMask) == kLoopbackServers;
}

}  // namespace ctl
