#pragma once

// Everything in which macOS and Linux differ, so that no other file has to ask which one it is on.
//
// Socket addresses: macOS starts them with a length byte and a family byte (AF_INET6 is 30), Linux
// with a 16-bit family (AF_INET6 is 10). The proxy names families by the system's constants and
// leaves a length byte at zero, so the sizes below are all that it relies on.

#include <netinet/in.h>
#include <pthread.h>
#include <sys/socket.h>

#include <cstddef>
#include <cstdint>

#if defined(__linux__) && !defined(__GLIBC__)
#error "joining a joined thread, as the service does at its end, needs glibc or macOS"
#endif

#if defined(__APPLE__)
#include <libkern/OSByteOrder.h>
#else
/// `value` with its two bytes changed over: network to host order on a little-endian machine.
// NOLINTNEXTLINE(clang-diagnostic-reserved-identifier): the name that the macOS header gives it
inline std::uint16_t _OSSwapInt16(std::uint16_t value) {
  return static_cast<std::uint16_t>((value << 8) | (value >> 8));
}
#endif

/// Makes it safe to join a thread that has been joined already, as long as its stack has the
/// default size. glibc answers with an error that it reads off the dead thread's stack, and it
/// keeps dead stacks only up to 40 MB in all: under a large stack limit (ulimit -s) the second join
/// would read memory that is gone. (So it would if somebody set glibc's tunable
/// glibc.pthread.stack_cache_size to 0; nothing in the program can undo that.) Call it before the
/// threads are created.
inline void KeepStacksOfJoinedThreads() {
#if defined(__GLIBC__)
  constexpr std::size_t kLargestStack = std::size_t{8} << 20;
  pthread_attr_t attributes;
  std::size_t size = 0;
  if (pthread_getattr_default_np(&attributes) != 0) return;
  if (pthread_attr_getstacksize(&attributes, &size) == 0 && size > kLargestStack) {
    pthread_attr_setstacksize(&attributes, kLargestStack);
    pthread_setattr_default_np(&attributes);
  }
  pthread_attr_destroy(&attributes);
#endif
}

static_assert(sizeof(sockaddr) == 16, "a kept address is the 16-byte generic one");
static_assert(sizeof(sockaddr_in) == 16, "an IPv4 address is sent with a length of 16");
static_assert(sizeof(sockaddr_in6) == 28, "every other address is sent with a length of 28");
