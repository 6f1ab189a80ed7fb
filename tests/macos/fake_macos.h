#pragma once

#include <libproc.h>

#include <cstdint>
#include <string>
#include <vector>

/// The processes of a macOS that is played: what libproc and sysctl, as declared in stand_in/,
/// answer from.
namespace fake_macos {

/// A descriptor of a process: a socket with what the kernel tells of it, or anything else.
struct Descriptor {
  std::uint32_t type;
  socket_info socket;
};

/// A UDP socket bound on this address, in dotted decimal, and port.
Descriptor UdpSocket(const char* address, std::uint16_t port);
/// The same of IPv6, bound on every address; `alone` takes no IPv4.
Descriptor UdpSocketOfIpv6(std::uint16_t port, bool alone);
Descriptor File();

struct PlayedProcess {
  pid_t pid;
  std::string name;
  uid_t owner = 0;
  int argument_count = 1;
  std::uint64_t start_seconds = 1000;
  std::uint64_t start_microseconds = 0;
  std::vector<std::uint64_t> threads = {};
  std::vector<Descriptor> descriptors = {};
  /// The kernel refuses to tell of it, as it does of another user's to everybody but root.
  bool hidden = false;
};

/// All there is from now on.
void Play(std::vector<PlayedProcess> processes);

}  // namespace fake_macos
