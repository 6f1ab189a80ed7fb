#include "companion/host/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace ctl {

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::vector<std::string> MissingFolders(const std::string& path) {
  std::vector<std::string> missing;
  for (std::string folder = path; folder != "/" && !IsThere(folder); folder = FolderOf(folder)) {
    missing.push_back(folder);
  }
  std::reverse(missing.begin(), missing.end());
  return missing;
}

bool IsThere(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0;
}

void SyncFolder(const std::string& folder) {
  const int opened = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (opened < 0) return;
  fsync(opened);
  close(opened);
}

std::string WriteInPlace(const std::string& path, const std::string& text) {
  const int file = open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC | O_NOFOLLOW);
  if (file < 0) return std::strerror(errno);
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t count = write(file, text.data() + done, text.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) break;
    done += static_cast<std::size_t>(count);
  }
  const bool is_written = done == text.size() && fsync(file) == 0;
  std::string problem = is_written ? "" : std::strerror(errno);
  close(file);
  return problem;
}

}  // namespace ctl
