#if defined(__linux__)

#include <linux/filter.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#include "companion/guard/socket_filter.h"

namespace ctl {
namespace {

using Program = std::vector<sock_filter>;

// The filter of a UDP socket sees the UDP header in front of the datagram, and the IP header where
// the kernel puts it for all filters.
constexpr std::uint32_t kUdpHeaderSize = 8;
constexpr std::uint32_t kSourcePortAt = 0;
constexpr auto kIpSourceAt = static_cast<std::uint32_t>(SKF_NET_OFF) + 12;
constexpr std::uint32_t kProxyPort = 53;

constexpr std::uint32_t kKeepOut = 0;
constexpr std::uint32_t kLetInWhole = 0xFFFFFFFF;

void Append(Program& program, int code, std::uint32_t value, std::uint8_t skip_if_true = 0,
            std::uint8_t skip_if_false = 0) {
  program.push_back({static_cast<std::uint16_t>(code), skip_if_true, skip_if_false, value});
}

void AppendLoad(Program& program, const Condition& condition) {
  switch (condition.field) {
    case Field::kLength:
      Append(program, BPF_LD | BPF_W | BPF_LEN, 0);
      return;
    case Field::kByte:
      Append(program, BPF_LD | BPF_B | BPF_ABS, kUdpHeaderSize + condition.offset);
      return;
    case Field::kUint16:
      Append(program, BPF_LD | BPF_H | BPF_ABS, kUdpHeaderSize + condition.offset);
      return;
  }
}

// Skips the instruction behind it, which keeps the datagram out, unless the condition holds.
void AppendTest(Program& program, const Condition& condition) {
  const bool is_length = condition.field == Field::kLength;
  const std::uint32_t value = condition.value + (is_length ? kUdpHeaderSize : 0);
  switch (condition.relation) {
    case Relation::kBelow:
      Append(program, BPF_JMP | BPF_JGE | BPF_K, value, 1, 0);
      return;
    case Relation::kAtLeast:
      Append(program, BPF_JMP | BPF_JGE | BPF_K, value, 0, 1);
      return;
    case Relation::kIs:
      Append(program, BPF_JMP | BPF_JEQ | BPF_K, value, 0, 1);
      return;
    case Relation::kIsNot:
      Append(program, BPF_JMP | BPF_JEQ | BPF_K, value, 1, 0);
      return;
  }
}

void AppendSender(Program& program, in_addr sender) {
  const bool asks_port = AnswersFromPort53Only(sender);
  Append(program, BPF_LD | BPF_W | BPF_ABS, kIpSourceAt);
  Append(program, BPF_JMP | BPF_JEQ | BPF_K, ntohl(sender.s_addr), 0, asks_port ? 3 : 1);
  if (asks_port) {
    Append(program, BPF_LD | BPF_H | BPF_ABS, kSourcePortAt);
    Append(program, BPF_JMP | BPF_JEQ | BPF_K, kProxyPort, 0, 1);
  }
  Append(program, BPF_RET | BPF_K, kLetInWhole);
}

Program Conditions(const std::vector<Condition>& keep_out) {
  Program program;
  for (const Condition& condition : keep_out) {
    AppendLoad(program, condition);
    AppendTest(program, condition);
    Append(program, BPF_RET | BPF_K, kKeepOut);
  }
  return program;
}

Program Whole(const SocketRules& rules) {
  Program program = Conditions(rules.keep_out);
  if (rules.senders) {
    for (const in_addr sender : *rules.senders) AppendSender(program, sender);
    Append(program, BPF_RET | BPF_K, kKeepOut);
  } else {
    Append(program, BPF_RET | BPF_K, kLetInWhole);
  }
  return program;
}

bool IsSame(const sock_filter& one, const sock_filter& other) {
  return one.code == other.code && one.jt == other.jt && one.jf == other.jf && one.k == other.k;
}

}  // namespace

int AttachFilter(int socket, const SocketRules& rules) {
  Program program = Whole(rules);
  const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
  const int result = setsockopt(socket, SOL_SOCKET, SO_ATTACH_FILTER, &filter, sizeof(filter));
  return result == 0 ? 0 : errno;
}

int DetachFilter(int socket) {
  const int unused = 0;
  const int result = setsockopt(socket, SOL_SOCKET, SO_DETACH_FILTER, &unused, sizeof(unused));
  return result == 0 || errno == ENOENT ? 0 : errno;
}

// The length of what the system tells is counted in instructions.
FilterState FilterOn(int socket, const std::vector<Condition>& keep_out) {
  socklen_t count = 0;
  if (getsockopt(socket, SOL_SOCKET, SO_GET_FILTER, nullptr, &count) != 0) {
    return FilterState::kUnknown;
  }
  if (count == 0) return FilterState::kNone;
  Program found(count);
  if (getsockopt(socket, SOL_SOCKET, SO_GET_FILTER, found.data(), &count) != 0) {
    return FilterState::kUnknown;
  }
  const Program expected = Conditions(keep_out);
  const bool is_same = found.size() > expected.size() &&
                       std::equal(expected.begin(), expected.end(), found.begin(), IsSame);
  return is_same ? FilterState::kThese : FilterState::kOther;
}

}  // namespace ctl

#endif  // __linux__
