#include "companion/host/journal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "common/upstream/text_lines.h"
#include "companion/host/files.h"
#include "companion/names/files.h"

namespace ctl {
namespace {

constexpr mode_t kForRootAlone = 0700;
constexpr mode_t kForAll = 0755;

constexpr const char* kBeforeWords[] = {"absent", "beside", "copied", "settings"};
constexpr const char* kReaderWords[] = {"none", "resolved", "networkmanager", "openresolv",
                                        "dhcpcd"};

template <typename Words>
int IndexOf(const Words& words, const std::string& word) {
  const auto found = std::find(std::begin(words), std::end(words), word);
  return found == std::end(words) ? -1 : static_cast<int>(found - std::begin(words));
}

// Lines of a word and a value. Texts stand at the end, with their lengths in front.
std::string TextOf(const ChangeRecord& record) {
  std::string text = "path " + record.change.path + '\n';
  text += std::string("before ") + kBeforeWords[static_cast<int>(record.before)] + '\n';
  text += std::string("reader ") + kReaderWords[static_cast<int>(record.change.reader)] + '\n';
  for (const std::string& folder : record.made_folders) text += "folder " + folder + '\n';
  text += "texts " + std::to_string(record.change.written.size()) + ' ' +
          std::to_string(record.content_before.size()) + '\n';
  return text + record.change.written + record.content_before;
}

bool TakeTexts(const std::string& lengths, const std::string& texts, ChangeRecord& record) {
  char* end = nullptr;
  const std::size_t written = std::strtoull(lengths.c_str(), &end, 10);
  const std::size_t before = std::strtoull(end, nullptr, 10);
  if (texts.size() < written || texts.size() - written != before) return false;
  record.change.written = texts.substr(0, written);
  record.content_before = texts.substr(written);
  return true;
}

bool TakeRecord(const std::string& text, ChangeRecord& record) {
  std::size_t start = 0;
  for (;;) {
    const std::size_t end = text.find('\n', start);
    if (end == std::string::npos) return false;
    const std::string line = text.substr(start, end - start);
    start = end + 1;
    const std::size_t blank = line.find(' ');
    if (blank == std::string::npos) return false;
    const std::string word = line.substr(0, blank);
    const std::string value = line.substr(blank + 1);
    if (word == "path") {
      record.change.path = value;
    } else if (word == "before") {
      const int index = IndexOf(kBeforeWords, value);
      if (index < 0) return false;
      record.before = static_cast<Before>(index);
    } else if (word == "reader") {
      // An unknown one has to be told by hand, which must not keep the file from being put back.
      record.change.reader = static_cast<Reader>(std::max(0, IndexOf(kReaderWords, value)));
    } else if (word == "folder") {
      record.made_folders.push_back(value);
    } else if (word == "texts") {
      return TakeTexts(value, text.substr(start), record);
    }
  }
}

}  // namespace

Journal::~Journal() {
  if (lock_ >= 0) close(lock_);
}

std::string Journal::Open() {
  const std::string parent = FolderOf(folder_);
  for (;;) {
    for (const std::string& folder : MissingFolders(parent)) {
      if (mkdir(folder.c_str(), kForAll) != 0 && errno != EEXIST) return std::strerror(errno);
      chmod(folder.c_str(), kForAll);  // whatever the umask is
    }
    if (mkdir(folder_.c_str(), kForRootAlone) != 0 && errno != EEXIST) return std::strerror(errno);
    SyncFolder(parent);
    lock_ = open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW);
    if (lock_ < 0 || flock(lock_, LOCK_EX) != 0) return std::strerror(errno);
    // Whoever had the lock before may have removed the folder.
    struct stat opened;
    struct stat named;
    if (fstat(lock_, &opened) == 0 && stat(folder_.c_str(), &named) == 0 &&
        opened.st_ino == named.st_ino) {
      return "";
    }
    close(lock_);
  }
}

void Journal::RemoveFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
  rmdir(FolderOf(folder_).c_str());  // unless there is more in it
}

std::string Journal::PathOf(int number) const { return folder_ + '/' + std::to_string(number); }

std::vector<int> Journal::Numbers() const {
  std::vector<int> numbers;
  std::string problem;
  for (const std::string& path : FilesIn(folder_, problem)) {
    const char* name = path.c_str() + folder_.size() + 1;
    numbers.push_back(static_cast<int>(std::strtol(name, nullptr, 10)));
  }
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

bool Journal::Read(int number, ChangeRecord& record) const {
  const std::optional<std::string> text = upstream::ReadFile(PathOf(number));
  return text && TakeRecord(*text, record);
}

std::string Journal::Write(int number, const ChangeRecord& record) {
  return WriteTextFile(PathOf(number), TextOf(record));
}

void Journal::Remove(int number) {
  unlink(PathOf(number).c_str());
  SyncFolder(folder_);
}

}  // namespace ctl
