#pragma once

#include <string>
#include <vector>

namespace ctl {

/// The program that reads a file once and has to be told of a change.
enum class Reader { kNone, kResolved, kNetworkManager, kOpenresolv, kDhcpcd };

/// A file that gets another content.
struct HostChange {
  std::string path;
  std::string written;
  Reader reader = Reader::kNone;
};

/// What was there before a change.
enum class Before {
  kAbsent,   ///< nothing
  kBeside,   ///< a file or a symbolic link, which is kept under another name in the same folder
  kCopied,   ///< a file that can't be renamed, such as a mount; the journal has a copy
  kSettings  ///< no file: the servers of a network service of macOS
};

/// A change that was made, or was about to be made.
struct ChangeRecord {
  HostChange change;
  Before before = Before::kAbsent;
  /// kCopied: the content. kSettings: the servers.
  std::string content_before;
  /// Folders that did not exist, the outermost first.
  std::vector<std::string> made_folders;
};

/// The records of the changes, each a file that is on the disk before the change is made.
class Journal {
 public:
  explicit Journal(std::string folder) : folder_(std::move(folder)) {}
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;
  ~Journal();

  /// Makes the folder, for root alone, and keeps other processes out until the destructor. Empty
  /// when done; otherwise why not, as a clause.
  std::string Open();

  /// The numbers of the records, in the order of their changes.
  std::vector<int> Numbers() const;
  /// False when it can't be read.
  bool Read(int number, ChangeRecord& record) const;
  /// Writes or replaces a record. Empty when done; otherwise why not, as a clause.
  std::string Write(int number, const ChangeRecord& record);
  void Remove(int number);
  /// When nothing is left to be undone.
  void RemoveFolder();

 private:
  std::string PathOf(int number) const;

  std::string folder_;
  int lock_ = -1;
};

}  // namespace ctl
