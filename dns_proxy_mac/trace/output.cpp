#include "dns_proxy_mac/trace/output.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "dns_proxy_mac/mutex.h"

namespace trace {
namespace {

constexpr std::size_t kSharedSize = 65536;
static_assert(kPartSize <= kSharedSize, "a part has room in the empty output");

// Without destructors: a worker that outlives main may still come here during exit.
Mutex g_Lock;
char g_Shared[kSharedSize] GUARDED_BY(g_Lock);
std::size_t g_Used GUARDED_BY(g_Lock) = 0;
bool g_HasOutput GUARDED_BY(g_Lock) = true;

// Waits first for a descriptor that somebody has made non-blocking, as a blocking one would wait by
// itself.
bool CanRetry(int error) {
  if (error == EINTR) return true;
  if (error != EAGAIN && error != EWOULDBLOCK) return false;
  pollfd out{STDOUT_FILENO, POLLOUT, 0};
  return poll(&out, 1, -1) > 0 || errno == EINTR;
}

void WriteOut() REQUIRES(g_Lock) {
  const char* from = g_Shared;
  std::size_t left = g_HasOutput ? g_Used : 0;
  while (left > 0) {
    const ssize_t written = write(STDOUT_FILENO, from, left);
    if (written < 0 && CanRetry(errno)) continue;
    if (written <= 0) break;
    from += written;
    left -= static_cast<std::size_t>(written);
  }
  g_Used = 0;
}

void TakeOver(Part& part) REQUIRES(g_Lock) {
  if (part.used > kSharedSize - g_Used) WriteOut();
  std::memcpy(g_Shared + g_Used, part.bytes, part.used);
  g_Used += part.used;
  part.used = 0;
}

}  // namespace

void OpenOutput() {
  const Guard guard(g_Lock);
  g_HasOutput = fcntl(STDOUT_FILENO, F_GETFD) != -1;
}

void HandOver() {
  if (t_Part.used == 0) return;
  const Guard guard(g_Lock);
  TakeOver(t_Part);
}

void Flush() {
  const Guard guard(g_Lock);
  TakeOver(t_Part);
  WriteOut();
}

void FlushForGood() NO_THREAD_SAFETY_ANALYSIS {  // never gives the lock back
  g_Lock.Lock();
  TakeOver(t_Part);
  WriteOut();
}

void AppendInPieces(const char* text, std::size_t length) {
  while (length > 0) {
    if (t_Part.used == kPartSize) HandOver();
    const std::size_t piece = std::min(length, kPartSize - t_Part.used);
    Append(text, piece);
    text += piece;
    length -= piece;
  }
}

}  // namespace trace
