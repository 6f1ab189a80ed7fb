#include "page/follow/trace_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace page {
namespace {

bool IsSameFile(int descriptor, const TracePlace& place) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
         static_cast<std::uint64_t>(status.st_dev) == place.device &&
         static_cast<std::uint64_t>(status.st_ino) == place.inode &&
         (place.birth == 0 || BirthOf(descriptor) == place.birth) &&
         static_cast<std::uint64_t>(status.st_size) >= place.offset;
}

}  // namespace

int OpenTraceFile(const std::string& path, const TracePlace& place) {
  const auto open_if_same = [&place](const std::string& candidate) {
    const int descriptor = open(candidate.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor >= 0 && IsSameFile(descriptor, place)) return descriptor;
    if (descriptor >= 0) close(descriptor);
    return -1;
  };
  const int newest = open_if_same(path);
  const std::size_t slash = path.rfind('/');
  if (newest >= 0 || slash == std::string::npos) return newest;
  const std::string folder = path.substr(0, slash + 1);
  const std::string beginning = path.substr(slash + 1);
  DIR* const entries = opendir(folder.c_str());
  if (entries == nullptr) return -1;
  int found = -1;
  while (const dirent* const entry = readdir(entries)) {
    const std::string name = entry->d_name;
    if (name.compare(0, beginning.size(), beginning) != 0 || name == beginning) continue;
    found = open_if_same(folder + name);
    if (found >= 0) break;
  }
  closedir(entries);
  return found;
}

TraceFile::TraceFile(std::string path) : path_(std::move(path)) {
  if (IsStandardInput()) descriptor_ = STDIN_FILENO;
}

TraceFile::~TraceFile() { Close(); }

void TraceFile::Close() {
  if (descriptor_ >= 0 && !IsStandardInput()) close(descriptor_);
  descriptor_ = -1;
}

bool TraceFile::Adopt(int descriptor) {
  Close();
  descriptor_ = descriptor;
  changes_.Watch(path_, descriptor);
  place_ = TracePlace();
  if (descriptor < 0) return false;
  struct stat status {};
  fstat(descriptor, &status);
  place_.device = static_cast<std::uint64_t>(status.st_dev);
  place_.inode = static_cast<std::uint64_t>(status.st_ino);
  place_.birth = BirthOf(descriptor);
  return true;
}

bool TraceFile::OpenAt(const TracePlace& place) {
  if (place.inode == 0 || IsStandardInput()) return false;
  const int descriptor = OpenTraceFile(path_, place);
  if (descriptor < 0) return false;
  Adopt(descriptor);
  lseek(descriptor, static_cast<off_t>(place.offset), SEEK_SET);
  place_.offset = place.offset;
  return true;
}

bool TraceFile::OpenNewest() {
  const int descriptor = open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  const int error = errno;
  const bool is_open = Adopt(descriptor);
  errno = error;
  return is_open;
}

std::uint64_t TraceFile::Size() const {
  struct stat status {};
  return fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode)
             ? static_cast<std::uint64_t>(status.st_size)
             : 0;
}

std::int64_t TraceFile::ModifiedMs() const {
  struct stat status {};
  return fstat(descriptor_, &status) == 0 ? status.st_mtime * std::int64_t{1000} : 0;
}

ssize_t TraceFile::Read(char* buffer, std::size_t capacity) {
  const ssize_t got = read(descriptor_, buffer, capacity);
  if (got > 0) place_.offset += static_cast<std::uint64_t>(got);
  return got;
}

bool TraceFile::IsReplaced() const {
  if (IsStandardInput()) return false;
  struct stat status {};
  if (Size() < place_.offset) return true;
  if (stat(path_.c_str(), &status) != 0) return false;
  return static_cast<std::uint64_t>(status.st_dev) != place_.device ||
         static_cast<std::uint64_t>(status.st_ino) != place_.inode;
}

int TraceFile::WaitDescriptor() const {
  return IsStandardInput() ? descriptor_ : changes_.descriptor();
}

void TraceFile::DrainChanges() {
  if (!IsStandardInput()) changes_.Drain();
}

}  // namespace page
