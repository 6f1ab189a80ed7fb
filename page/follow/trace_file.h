#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "page/follow/file_changes.h"
#include "page/memory/query.h"

namespace page {

/// The proxy's trace as a file that grows and is renewed: moved aside, with a new one in its place,
/// or cut. Or standard input, which only ends. One thread.
class TraceFile {
 public:
  /// "-" is standard input.
  explicit TraceFile(std::string path);
  TraceFile(const TraceFile&) = delete;
  TraceFile& operator=(const TraceFile&) = delete;
  ~TraceFile();

  /// Opens the file that `place` is in, at that place. It is now either at the path or beside it,
  /// with a name that begins the same. False when it is not there any more.
  bool OpenAt(const TracePlace& place);
  /// Opens the file at the path at its beginning. False, with errno, when that fails.
  bool OpenNewest();

  bool IsOpen() const { return descriptor_ >= 0; }
  bool IsStandardInput() const { return path_ == "-"; }
  /// Which file, and how much of it has been read.
  const TracePlace& place() const { return place_; }
  std::uint64_t Size() const;
  std::int64_t ModifiedMs() const;

  /// As `read`: 0 at the present end.
  ssize_t Read(char* buffer, std::size_t capacity);

  /// Whether a newer file is at the path, or this one was cut, so that nothing more comes here.
  bool IsReplaced() const;

  /// To be polled for reading.
  int WaitDescriptor() const;
  void DrainChanges();

 private:
  bool Adopt(int descriptor);
  void Close();

  std::string path_;
  FileChanges changes_;
  int descriptor_ = -1;
  TracePlace place_;
};

/// Opens the file that `place` is in: the one at `path`, or one beside it whose name begins the
/// same. -1 when it is not there any more, or shorter than the place.
int OpenTraceFile(const std::string& path, const TracePlace& place);

}  // namespace page
