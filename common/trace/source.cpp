#include "common/trace/source.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace ctl {
namespace {

constexpr int kWaitMs = 100;

}  // namespace

Source::Source(const std::string& path)
    : name_(path == "-" ? "standard input" : path), path_(path) {
  Adopt(path == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)
                    : open(path.c_str(), O_RDONLY | O_CLOEXEC));
}

Source::~Source() {
  if (descriptor_ >= 0) close(descriptor_);
}

void Source::Adopt(int descriptor) {
  const int error = errno;
  if (descriptor_ >= 0) close(descriptor_);
  descriptor_ = descriptor;
  offset_ = 0;
  struct stat status;
  if (descriptor_ >= 0 && fstat(descriptor_, &status) == 0) {
    is_file_ = S_ISREG(status.st_mode);
    size_ = is_file_ ? static_cast<std::uint64_t>(status.st_size) : 0;
    device_ = status.st_dev;
    inode_ = status.st_ino;
  }
  errno = error;
}

bool Source::IsTerminal() const { return isatty(descriptor_) == 1; }

ssize_t Source::Read(char* buffer, std::size_t capacity) {
  const ssize_t got = read(descriptor_, buffer, capacity);
  if (got > 0) offset_ += static_cast<std::uint64_t>(got);
  return got < 0 && errno == EINTR ? 0 : got;
}

bool Source::Wait() const {
  pollfd descriptor{descriptor_, POLLIN, 0};
  if (!is_file_) return poll(&descriptor, 1, kWaitMs) > 0;
  poll(nullptr, 0, kWaitMs);  // a file is always readable, at its end too
  return true;
}

bool Source::WasCut() const {
  struct stat status;
  return fstat(descriptor_, &status) == 0 && static_cast<std::uint64_t>(status.st_size) < offset_;
}

int Source::OpenReplacement() const {
  struct stat status;
  if (path_ == "-" || stat(path_.c_str(), &status) != 0) return -1;
  if (status.st_dev == device_ && status.st_ino == inode_) return -1;
  return open(path_.c_str(), O_RDONLY | O_CLOEXEC);
}

bool Source::Reopen() {
  if (!is_file_) return false;
  if (WasCut()) {
    offset_ = 0;
    return lseek(descriptor_, 0, SEEK_SET) == 0;
  }
  const int replacement = OpenReplacement();
  if (replacement < 0) return false;
  Adopt(replacement);
  return true;
}

}  // namespace ctl
