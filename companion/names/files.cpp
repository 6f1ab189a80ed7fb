#include "companion/names/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "common/configuration/configuration_text.h"
#include "common/platform/descriptor.h"

namespace ctl {
namespace {

constexpr off_t kLargestFile = off_t{256} << 20;
constexpr mode_t kReadableByAll = 0644;

std::string SystemsReason() { return std::strerror(errno); }

// What changes when somebody writes to the file.
bool IsUnchanged(const std::string& path, const struct stat& before) {
  struct stat now;
  return stat(path.c_str(), &now) == 0 && now.st_ino == before.st_ino &&
         now.st_size == before.st_size && now.st_mtime == before.st_mtime;
}

std::string WriteAll(int file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(file, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return "it can't be written: " + SystemsReason();
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  if (fchmod(file, kReadableByAll) != 0 || fsync(file) != 0) {
    return "it can't be written: " + SystemsReason();
  }
  return "";
}

// Opens an empty file that will be renamed, with a lock on it. It always has the same name, so that
// a program that was ended in the middle leaves only a file that the next one reuses. A process
// that waited for the lock may hold a file that has been renamed meanwhile, so it looks again.
int OpenAlone(const std::string& path) {
  for (;;) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (file < 0) return -1;
    struct stat opened;
    struct stat named;
    if (flock(file, LOCK_EX) == 0 && fstat(file, &opened) == 0 && stat(path.c_str(), &named) == 0 &&
        opened.st_ino == named.st_ino && ftruncate(file, 0) == 0) {
      return file;
    }
    close(file);
  }
}

// The name of a file that is not finished.
std::string Beside(const std::string& path) {
  const std::size_t slash = path.rfind('/') + 1;
  return path.substr(0, slash) + '.' + path.substr(slash) + ".new";
}

// The rename reaches the disk only when its folder does.
void SyncFolderOf(const std::string& path) {
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  const Descriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (opened.number() >= 0) fsync(opened.number());
}

}  // namespace

std::string ReadTextFile(const std::string& path, std::string& text, bool& is_missing) {
  text.clear();
  struct stat status {};
  const bool is_there = stat(path.c_str(), &status) == 0;
  is_missing = !is_there && errno == ENOENT;
  if (is_there && status.st_size > kLargestFile) return "it is larger than 256 MB";
  FileText file;
  ReadText(path, file);
  if (file.access != Access::kRead) return file.reason;
  if (!IsUnchanged(path, status)) return "it was written to while it was read";
  text = std::move(file.bytes);
  return "";
}

std::string WriteTextFile(const std::string& path, std::string_view text) {
  const std::string beside = Beside(path);
  const Descriptor file(OpenAlone(beside));
  if (file.number() < 0) return "it can't be written: " + SystemsReason();
  std::string problem = WriteAll(file.number(), text);
  if (problem.empty() && std::rename(beside.c_str(), path.c_str()) != 0) {
    problem = "it can't be written: " + SystemsReason();
  }
  if (problem.empty()) {
    SyncFolderOf(path);
  } else {
    unlink(beside.c_str());
  }
  return problem;
}

void RemoveUnfinished(const std::string& path) { unlink(Beside(path).c_str()); }

std::vector<std::string> FilesIn(const std::string& folder, std::string& problem) {
  std::vector<std::string> files;
  DIR* opened = opendir(folder.c_str());
  if (opened == nullptr) {
    if (errno != ENOENT) problem = folder + " can't be read: " + SystemsReason();
    return files;
  }
  while (const dirent* entry = readdir(opened)) {
    if (entry->d_name[0] != '.') files.push_back(folder + '/' + entry->d_name);
  }
  closedir(opened);
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace ctl
