#ifdef __APPLE__

#include <fcntl.h>
#include <sys/event.h>
#include <sys/stat.h>
#include <unistd.h>

#include "page/follow/file_changes.h"

namespace page {
namespace {

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

void Add(int queue, int file) {
  struct kevent change {};
  EV_SET(&change, static_cast<uintptr_t>(file), EVFILT_VNODE, EV_ADD | EV_CLEAR,
         NOTE_WRITE | NOTE_EXTEND | NOTE_RENAME | NOTE_DELETE, 0, nullptr);
  kevent(queue, &change, 1, nullptr, 0, nullptr);
}

}  // namespace

FileChanges::FileChanges() : descriptor_(kqueue()) {}

FileChanges::~FileChanges() {
  Forget();
  if (descriptor_ >= 0) close(descriptor_);
}

// What is watched goes with its descriptor.
void FileChanges::Forget() {
  if (watched_file_ >= 0) close(watched_file_);
  if (watched_folder_ >= 0) close(watched_folder_);
  watched_file_ = watched_folder_ = -1;
}

void FileChanges::Watch(const std::string& path, int file) {
  Forget();
  if (file >= 0) watched_file_ = fcntl(file, F_DUPFD_CLOEXEC, 0);
  watched_folder_ = open(FolderOf(path).c_str(), O_EVTONLY | O_CLOEXEC);
  if (watched_file_ >= 0) Add(descriptor_, watched_file_);
  if (watched_folder_ >= 0) Add(descriptor_, watched_folder_);
}

void FileChanges::Drain() {
  struct kevent events[16];
  const timespec at_once{};
  while (kevent(descriptor_, nullptr, 0, events, 16, &at_once) == 16) {
  }
}

std::int64_t BirthOf(int file) {
  struct stat status {};
  if (fstat(file, &status) != 0) return 0;
  return status.st_birthtimespec.tv_sec * std::int64_t{1000000000} +
         status.st_birthtimespec.tv_nsec;
}

}  // namespace page

#endif
