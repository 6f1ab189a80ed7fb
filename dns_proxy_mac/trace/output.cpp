#include "dns_proxy_mac/trace/output.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdarg>
#include <cstddef>
#include <cstring>

namespace trace {
namespace {

constexpr std::size_t kBufferSize = 65536;
constexpr std::size_t kIntegerDigits = 11;  // a sign and the ten digits of 32 bits

// None of these has a destructor: a worker that outlives main may still come here during exit.
pthread_mutex_t g_OutputMutex = PTHREAD_MUTEX_INITIALIZER;
char g_Buffer[kBufferSize];
std::size_t g_Used = 0;
bool g_HasOutput = true;
thread_local bool t_HoldsUntilExit = false;

class OutputGuard {
 public:
  OutputGuard() {
    if (!t_HoldsUntilExit) pthread_mutex_lock(&g_OutputMutex);
  }
  OutputGuard(const OutputGuard&) = delete;
  OutputGuard& operator=(const OutputGuard&) = delete;
  ~OutputGuard() {
    if (!t_HoldsUntilExit) pthread_mutex_unlock(&g_OutputMutex);
  }
};

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

void WriteOut() {
  const char* from = g_Buffer;
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

void Append(const char* text, std::size_t length) {
  while (length > kBufferSize - g_Used) {
    const std::size_t part = kBufferSize - g_Used;
    std::memcpy(g_Buffer + g_Used, text, part);
    g_Used = kBufferSize;
    WriteOut();
    text += part;
    length -= part;
  }
  std::memcpy(g_Buffer + g_Used, text, length);
  g_Used += length;
}

template <typename Integer>
void AppendInteger(Integer value) {
  char digits[kIntegerDigits];
  const auto result = std::to_chars(digits, digits + kIntegerDigits, value);
  Append(digits, static_cast<std::size_t>(result.ptr - digits));
}

void AppendFormatted(const char* format, va_list arguments) {
  for (;;) {
    const char* percent = std::strchr(format, '%');
    if (percent == nullptr) break;
    Append(format, static_cast<std::size_t>(percent - format));
    const char kind = percent[1];
    if (kind == 's') {
      const char* text = va_arg(arguments, const char*);
      Append(text, std::strlen(text));
    } else if (kind == 'd') {
      AppendInteger(va_arg(arguments, int));
    } else {
      AppendInteger(va_arg(arguments, unsigned));
    }
    format = percent + 2;
  }
  Append(format, std::strlen(format));
}

}  // namespace

void OpenOutput() { g_HasOutput = fcntl(STDOUT_FILENO, F_GETFD) != -1; }

void Line(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  {
    const OutputGuard guard;
    AppendFormatted(format, arguments);
  }
  va_end(arguments);
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
