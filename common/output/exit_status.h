#pragma once

namespace ctl {

// The exit statuses of the program; every sub-command keeps to these.

/// All is well: what was asked for holds, or was done.
inline constexpr int kOk = 0;
/// The answer is no: warnings under --strict, no answer to a probe, a proxy that is not well, a
/// file that holds no trace, a proxy that `watch` may not end.
inline constexpr int kNo = 1;
/// `check` found errors, or a file to be read can't be.
inline constexpr int kError = 2;
/// The command line is wrong.
inline constexpr int kUsage = 64;
/// The system refused what every run needs: memory, a socket.
inline constexpr int kSystem = 71;
/// The results could not be written out, because the disk is full for example.
inline constexpr int kNotWritten = 74;

}  // namespace ctl
