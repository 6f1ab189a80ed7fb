#include "dns_proxy_mac/trace/output.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

namespace trace {
namespace buffer {

Mutex g_Lock;
char g_Bytes[kSize];
std::size_t g_Used = 0;

}  // namespace buffer

namespace {

bool g_HasOutput GUARDED_BY(buffer::g_Lock) = true;
thread_local bool t_HoldsUntilExit = false;

// Waits for a descriptor that somebody has made non-blocking, as a blocking one would wait by
// itself.
bool WaitWritable() {
  pollfd out{STDOUT_FILENO, POLLOUT, 0};
  return poll(&out, 1, -1) > 0 || errno == EINTR;
}

bool CanRetry(int error) {
  if (error == EINTR) return true;
  return (error == EAGAIN || error == EWOULDBLOCK) && WaitWritable();
}

void WriteOut() REQUIRES(buffer::g_Lock) {
  const char* from = buffer::g_Bytes;
  std::size_t left = g_HasOutput ? buffer::g_Used : 0;
  while (left > 0) {
    const ssize_t written = write(STDOUT_FILENO, from, left);
    if (written < 0 && CanRetry(errno)) continue;
    if (written <= 0) break;
    from += written;
    left -= static_cast<std::size_t>(written);
  }
  buffer::g_Used = 0;
}

}  // namespace

void buffer::AppendInParts(const char* text, std::size_t length) {
  while (length > kSize - g_Used) {
    const std::size_t part = kSize - g_Used;
    std::memcpy(g_Bytes + g_Used, text, part);
    g_Used = kSize;
    WriteOut();
    text += part;
    length -= part;
  }
  std::memcpy(g_Bytes + g_Used, text, length);
  g_Used += length;
}

OutputGuard::OutputGuard() {
  if (!t_HoldsUntilExit) buffer::g_Lock.Lock();
}

OutputGuard::~OutputGuard() {
  if (!t_HoldsUntilExit) buffer::g_Lock.Unlock();
}

void OpenOutput() {
  const OutputGuard guard;
  g_HasOutput = fcntl(STDOUT_FILENO, F_GETFD) != -1;
}

void Flush() {
  const OutputGuard guard;
  WriteOut();
}

void FlushAndHoldUntilExit() {
  const OutputGuard guard;
  WriteOut();
  t_HoldsUntilExit = true;
}

}  // namespace trace
