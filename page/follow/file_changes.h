#pragma once

#include <cstdint>
#include <string>

namespace page {

/// Tells when a file grows, or when another takes its place: a descriptor becomes readable. All in
/// which macOS (kqueue) and Linux (inotify) differ for this program. What can't be watched is
/// looked at again after a while: that is the caller's part.
class FileChanges {
 public:
  FileChanges();
  FileChanges(const FileChanges&) = delete;
  FileChanges& operator=(const FileChanges&) = delete;
  ~FileChanges();

  /// To be polled for reading; -1 when the system has none left.
  int descriptor() const { return descriptor_; }
  /// Watches the file that is open as `file` at `path`, and the folder for another one, in place of
  /// what was watched before.
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
