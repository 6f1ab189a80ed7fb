#pragma once

#include <cstddef>
#include <cstring>

/// The one path to standard output. Each thread puts its lines into a part of its own, without a
/// lock, and hands the part over whole to the shared output: before each send and each wait, before
/// it creates a thread, and when it ends. So what a send can cause is printed behind the lines
/// before that send, and from a worker's wake-up to its next send or wait no other thread's line
/// comes in between: such a step always fits into a part.
///
/// It does without the C library's streams, because their flush at exit takes no lock: a query
/// thread that flushes at the same moment would make the last buffer appear twice.
///
/// A write that fails (full disk, closed descriptor) costs the lines in the shared output and
/// nothing else. When the reader of a pipe has gone, SIGPIPE ends the process as the platform's
/// default.
namespace trace {

/// Bytes of a part. The longest step takes less than half of it, with a name of 1024 bytes in three
/// lines; a line of the configuration files may be longer and is then handed over in pieces.
inline constexpr std::size_t kPartSize = 16384;

/// What the thread has printed and not yet handed over.
struct Part {
  char bytes[kPartSize];
  std::size_t used;
};
inline thread_local Part t_Part;

/// Looks whether standard output is open. Call it before the process opens anything itself:
/// otherwise a socket may take descriptor 1 and would be sent the trace. Without a standard output
/// every line is dropped.
void OpenOutput();

/// Hands the calling thread's part over; takes no lock when it is empty. Any thread.
void HandOver();

/// Hands the calling thread's part over and writes out what every thread has handed over; no system
/// call when that is nothing. Any thread; call it before a wait that has nothing to do.
void Flush();

/// Flushes and keeps the output: any other thread that hands its part over from now on waits until
/// the process is gone. Call it behind the last line.
void FlushForGood();

/// Appends to the thread's part, handing over each time that it is full.
void AppendInPieces(const char* text, std::size_t length);

inline void Append(const char* text, std::size_t length) {
  Part& part = t_Part;
  if (length > kPartSize - part.used) {
    AppendInPieces(text, length);
    return;
  }
  std::memcpy(part.bytes + part.used, text, length);
  part.used += length;
}

}  // namespace trace
