#include "companion/host/change.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

#include "common/upstream/text_lines.h"
#include "companion/host/files.h"
#include "companion/host/readers.h"
#include "companion/host/resolver_text.h"
#include "companion/host/settings.h"
#include "companion/names/files.h"

namespace ctl {
namespace {

constexpr mode_t kFolderMode = 0755;

// In the same folder, so that a rename brings the very same file back. Hidden, and with an ending
// that no reader of a folder of settings looks at.
std::string KeptBeside(const std::string& path) {
  const std::size_t slash = path.rfind('/') + 1;
  return path.substr(0, slash) + '.' + path.substr(slash) + ".before_dns_proxy_mac";
}

// Where people find what they, or a program, have written meanwhile.
std::string SetAside(const std::string& path) { return path + ".dns_proxy_mac-saved"; }

std::string Failure(const std::string& path, const std::string& reason) {
  return path + " can't be changed: " + reason + '.';
}

// Whether `path` holds what `on` has written there, be it only in part.
bool IsOurs(const std::string& path, const ChangeRecord& record) {
  struct stat status;
  if (lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
  const std::optional<std::string> now = upstream::ReadFile(path);
  if (!now) return false;
  if (record.before != Before::kCopied) return *now == record.change.written;
  return record.change.written.compare(0, now->size(), *now) == 0;
}

// An edit of what `on` has written, or a file that would still send everybody to the proxy.
bool NeedsProxy(const std::string& path) {
  const std::optional<std::string> now = upstream::ReadFile(path);
  return now && (now->find(kMark) != std::string::npos || AsksProxy(*now));
}

// Whether a hard link was refused because a file is a mount or its file system has no such links.
bool HasNoOtherName(int error) {
  return error == EXDEV || error == EPERM || error == EOPNOTSUPP || error == EMLINK;
}

// Keeps what is there: beside, or, where that can't be done, as a copy in the journal.
std::string Keep(const std::string& path, Journal& journal, int number, ChangeRecord& record) {
  unlink(KeptBeside(path).c_str());
  record.before = Before::kBeside;
  std::string problem = journal.Write(number, record);
  if (!problem.empty()) return problem;
  if (linkat(AT_FDCWD, path.c_str(), AT_FDCWD, KeptBeside(path).c_str(), 0) == 0) {
    SyncFolder(FolderOf(path));
    return "";
  }
  std::string refusal = std::strerror(errno);
  if (!HasNoOtherName(errno)) return refusal;
  struct stat status;
  const std::optional<std::string> content = upstream::ReadFile(path);
  if (lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || !content) return refusal;
  record.before = Before::kCopied;
  record.content_before = *content;
  return journal.Write(number, record);
}

std::string MakeFolders(const std::vector<std::string>& folders) {
  for (const std::string& folder : folders) {
    if (mkdir(folder.c_str(), kFolderMode) != 0) return std::strerror(errno);
    if (chmod(folder.c_str(), kFolderMode) != 0) return std::strerror(errno);
    SyncFolder(FolderOf(folder));
  }
  return "";
}

std::string MakeFileChange(const std::string& path, Journal& journal, int number,
                           ChangeRecord& record) {
  record.made_folders = MissingFolders(FolderOf(path));
  std::string problem =
      IsThere(path) ? Keep(path, journal, number, record) : journal.Write(number, record);
  if (problem.empty()) problem = MakeFolders(record.made_folders);
  if (!problem.empty()) return problem;
  return record.before == Before::kCopied ? WriteInPlace(path, record.change.written)
                                          : WriteTextFile(path, record.change.written);
}

bool Rename(const std::string& from, const std::string& to) {
  return std::rename(from.c_str(), to.c_str()) == 0;
}

// What somebody else has put there stays, unless nobody could ask for names with it. Returns why
// that can't be done; both files are there then, under one name or another.
std::string LeaveWithWord(const std::string& path, const std::string& kept,
                          std::vector<std::string>& sentences) {
  const std::string aside = SetAside(path);
  if (NeedsProxy(path)) {
    if (!Rename(path, aside) || !Rename(kept, path)) return std::strerror(errno);
    sentences.push_back(path + " was edited since: it is as it was before, and the edit is in " +
                        aside + '.');
    return "";
  }
  if (!Rename(kept, aside)) return std::strerror(errno);
  sentences.push_back(path + " was written by another program since, and is left so; what was " +
                      "there before is in " + aside + '.');
  return "";
}

std::string PutBackKept(const std::string& path, const ChangeRecord& record,
                        std::vector<std::string>& sentences) {
  const std::string kept = KeptBeside(path);
  struct stat old;
  if (lstat(kept.c_str(), &old) != 0) return "";  // nothing was changed yet, or all is put back
  struct stat now;
  const bool is_unchanged =
      lstat(path.c_str(), &now) == 0 && now.st_ino == old.st_ino && now.st_dev == old.st_dev;
  if (!is_unchanged && IsThere(path) && !IsOurs(path, record)) {
    std::string problem = LeaveWithWord(path, kept, sentences);
    if (!problem.empty()) return problem;
  } else if (!Rename(kept, path)) {
    return std::strerror(errno);
  }
  unlink(kept.c_str());  // a rename of a file to itself leaves both names
  return "";
}

std::string RemoveWritten(const std::string& path, const ChangeRecord& record,
                          std::vector<std::string>& sentences) {
  if (!IsThere(path)) return "";
  if (IsOurs(path, record)) return unlink(path.c_str()) == 0 ? "" : std::strerror(errno);
  if (!NeedsProxy(path)) {
    sentences.push_back(path + " was written by another program since, and is left so.");
    return "";
  }
  if (!Rename(path, SetAside(path))) return std::strerror(errno);
  sentences.push_back(path + " was edited since, and is now " + SetAside(path) + '.');
  return "";
}

std::string PutBackCopy(const std::string& path, const ChangeRecord& record,
                        std::vector<std::string>& sentences) {
  const std::optional<std::string> now = upstream::ReadFile(path);
  if (now && *now == record.content_before) return "";
  // A write that was ended in its middle leaves the beginning of either text.
  const bool is_torn = now && record.content_before.compare(0, now->size(), *now) == 0;
  if (is_torn || IsOurs(path, record) || NeedsProxy(path)) {
    return WriteInPlace(path, record.content_before);
  }
  sentences.push_back(path + " was written by another program since, and is left so.");
  return "";
}

std::string UndoFileChange(const std::string& path, const ChangeRecord& record,
                           std::vector<std::string>& sentences) {
  std::string problem;
  if (record.before == Before::kBeside) problem = PutBackKept(path, record, sentences);
  if (record.before == Before::kAbsent) problem = RemoveWritten(path, record, sentences);
  if (record.before == Before::kCopied) problem = PutBackCopy(path, record, sentences);
  if (!problem.empty()) return problem;
  RemoveUnfinished(path);
  for (auto folder = record.made_folders.rbegin(); folder != record.made_folders.rend(); ++folder) {
    rmdir(folder->c_str());  // unless somebody has put something there
  }
  SyncFolder(FolderOf(path));
  return "";
}

}  // namespace

std::string MakeChange(const HostPlaces& places, Journal& journal, int number,
                       const HostChange& change) {
  ChangeRecord record;
  record.change = change;
  const std::string path = places.At(change.path);
  const std::string problem = MakeFileChange(path, journal, number, record);
  if (!problem.empty()) return Failure(path, problem);
  return TellReader(places, change.reader);
}

bool UndoChange(const HostPlaces& places, Journal& journal, int number,
                std::vector<std::string>& sentences) {
  ChangeRecord record;
  if (!journal.Read(number, record)) {
    sentences.push_back("Record " + std::to_string(number) + " of " + places.State("host") +
                        " can't be read.");
    return false;
  }
  const bool is_file = record.before != Before::kSettings;
  const std::string path = is_file ? places.At(record.change.path) : record.change.path;
  const std::string problem = is_file ? UndoFileChange(path, record, sentences)
                                      : PutBackSettings(places, path, record.content_before);
  if (!problem.empty()) {
    sentences.push_back(path + " can't be put back: " + problem + '.');
    return false;
  }
  const std::string untold = TellReader(places, record.change.reader);
  if (!untold.empty()) sentences.push_back(untold);
  journal.Remove(number);
  return true;
}

}  // namespace ctl
