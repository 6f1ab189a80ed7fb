#pragma once

#include "dns_proxy_mac/trace/buffer.h"

/// The one road to standard output: both worker threads append to a shared buffer, in the order in
/// which things happen, and a thread writes the buffer out when it is about to wait.
///
/// It does without the C library's streams, because their flush at exit takes no lock: a query
/// thread that flushes at the same moment would make the last buffer appear twice.
///
/// A write that fails (full disk, closed descriptor) costs the buffered lines and nothing else.
/// When the reader of a pipe has gone, SIGPIPE ends the process as the platform's default.
namespace trace {

/// Looks whether standard output is open. Call it before the process opens anything itself:
/// otherwise a socket may take descriptor 1 and would be sent the trace. Without a standard output
/// every line is dropped.
void OpenOutput();

/// Holds the output's lock for the length of a scope.
class SCOPED_CAPABILITY OutputGuard {
 public:
  OutputGuard() ACQUIRE(buffer::g_Lock);
  OutputGuard(const OutputGuard&) = delete;
  OutputGuard& operator=(const OutputGuard&) = delete;
  ~OutputGuard() RELEASE();
};

/// Appends one formatted text: a literal with a placeholder for each value, %s for a text (up to
/// its first NUL), %d for an int, %u for an unsigned. It is the value's type that decides how it is
/// written; no flags, no widths. Any thread.
template <typename... Values>
[[gnu::always_inline]] inline void Line(const char* format, Values... values) {
  const OutputGuard guard;
  buffer::AppendFormatted(format, values...);
}

/// Writes out what is buffered; no system call when nothing is. Any thread; call it before a wait.
void Flush();

/// Writes out what is buffered and keeps the output for the calling thread: any other that prints
/// from now on waits until the process is gone. For a process that has its last line to say.
void FlushAndHoldUntilExit();

}  // namespace trace
