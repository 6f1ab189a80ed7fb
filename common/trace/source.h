#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace ctl {

/// Where a trace is read from: a file, which may grow and be replaced by a new one, or a pipe,
/// whose end is the trace's end.
class Source {
 public:
  /// "-" is standard input.
  explicit Source(const std::string& path);
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;
  ~Source();

  bool IsOpen() const { return descriptor_ >= 0; }
  bool IsTerminal() const;
  bool IsFile() const { return is_file_; }
  /// The path, or what to call it.
  const std::string& name() const { return name_; }
  /// Size of a file at its opening, in bytes; 0 for a pipe.
  std::uint64_t size() const { return size_; }

  /// As `read`: 0 at the present end, -1 with errno set. An interrupted call is 0 too.
  ssize_t Read(char* buffer, std::size_t capacity);

  /// Waits until there may be more to read, a tenth of a second at most. False when there is
  /// certainly nothing.
  bool Wait() const;

  /// Goes back to the start when the file has been cut, or to the new file when it has been
  /// replaced. False when neither has happened.
  bool Reopen();

 private:
  void Adopt(int descriptor);
  bool WasCut() const;
  int OpenReplacement() const;

  std::string name_;
  std::string path_;
  int descriptor_ = -1;
  bool is_file_ = false;
  std::uint64_t size_ = 0;
  std::uint64_t offset_ = 0;
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

}  // namespace ctl
