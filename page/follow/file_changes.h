#pragma once

#include <cstdint>
#include <string>

namespace page {

/// Tells when a file grows, or when another takes its place: a descriptor becomes readable. This is
/// everything in which macOS (kqueue) and Linux (inotify) differ for this program. When a file
/// can't be watched, the caller looks at it again after a while.
class FileChanges {
 public:
  FileChanges();
  FileChanges(const FileChanges&) = delete;
  FileChanges& operator=(const FileChanges&) = delete;
  ~FileChanges();

  /// To be polled for reading; -1 when the system has none left.
  int descriptor() const { return descriptor_; }
  /// Watches the file at `path`, which is open as `file`, and its folder, where another one may
  /// appear. What was watched before no longer is.
  void Watch(const std::string& path, int file);
  /// Takes what has been told so far, so that the descriptor waits again.
  void Drain();

 private:
  void Forget();

  int descriptor_ = -1;
  int watched_file_ = -1;
  int watched_folder_ = -1;
};

/// When the open file was made, in nanoseconds since 1970; 0 where the system does not say.
std::int64_t BirthOf(int file);

}  // namespace page
