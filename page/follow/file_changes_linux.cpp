#ifdef __linux__

#include <fcntl.h>
#include <sys/inotify.h>
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

}  // namespace

FileChanges::FileChanges() : descriptor_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

FileChanges::~FileChanges() {
  if (descriptor_ >= 0) close(descriptor_);
}

void FileChanges::Forget() {
  if (watched_file_ >= 0) inotify_rm_watch(descriptor_, watched_file_);
  if (watched_folder_ >= 0) inotify_rm_watch(descriptor_, watched_folder_);
  watched_file_ = watched_folder_ = -1;
}

void FileChanges::Watch(const std::string& path, int file) {
  Forget();
  if (file >= 0) {
    const std::string opened = "/proc/self/fd/" + std::to_string(file);
    watched_file_ = inotify_add_watch(descriptor_, opened.c_str(), IN_MODIFY);
  }
  watched_folder_ = inotify_add_watch(descriptor_, FolderOf(path).c_str(), IN_CREATE | IN_MOVED_TO);
}

void FileChanges::Drain() {
  alignas(inotify_event) char events[4096];
  while (read(descriptor_, events, sizeof(events)) > 0) {
  }
}

std::int64_t BirthOf(int file) {
  struct statx status {};
  if (statx(file, "", AT_EMPTY_PATH, STATX_BTIME, &status) != 0) return 0;
  if ((status.stx_mask & STATX_BTIME) == 0) return 0;
  return status.stx_btime.tv_sec * std::int64_t{1000000000} + status.stx_btime.tv_nsec;
}

}  // namespace page

#endif
