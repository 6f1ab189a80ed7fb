#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>

#include "common/output/exit_status.h"
#include "common/output/output.h"
#include "common/output/shown_text.h"
#include "companion/commands.h"
#include "companion/names/all_names.h"
#include "companion/names/list_text.h"
#include "companion/names/names_line.h"

namespace ctl {
namespace {

constexpr mode_t kFolderMode = 0755;

std::string LastPart(const std::string& path) { return path.substr(path.rfind('/') + 1); }

// The list's own name, which is its file's: without a folder, never hidden.
bool TakeListName(const std::string& name) {
  if (!name.empty() && name.front() != '.' && name.find('/') == std::string::npos) return true;
  Complain(Quoted(name) + " can't be the name of a list.");
  return false;
}

void PrintLeftOut(const ListText& list) {
  for (std::size_t at = 0; at < kLeftOutReasons; ++at) {
    const ListText::Count& count = list.left_out[at];
    if (count.names == 0) continue;
    Print("  " + Grouped(count.names) + " left out: " + InWords(static_cast<LeftOut>(at)) +
          ", first in line " + Grouped(count.first_line) + '\n');
  }
}

int Refuse(const std::string& path, const std::string& problem) {
  Complain(Shown(path) + ": " + problem + '.');
  return kError;
}

std::string SystemsReason(const char* what) { return std::string(what) + std::strerror(errno); }

// Makes a file of names from a list. The memory that a million names need is freed before the host
// map is made.
int TakeIn(const std::string& file, const std::string& address, const NamesPlaces& places) {
  std::string text;
  bool is_missing = false;
  if (std::string problem = ReadTextFile(file, text, is_missing); !problem.empty()) {
    return Refuse(file, problem);
  }
  const ListText list = ReadList(text, address);
  if (list.taken == 0) return Refuse(file, "there is no name in it that a list can have");
  if (mkdir(places.lists.c_str(), kFolderMode) != 0 && errno != EEXIST) {
    return Refuse(places.lists, SystemsReason("it can't be made: "));
  }
  const std::string path = places.lists + '/' + LastPart(file);
  if (std::string problem = WriteTextFile(path, list.text); !problem.empty()) {
    return Refuse(path, problem);
  }
  Print(Shown(LastPart(file)) + ": " + Counted(list.taken, "name") + " taken, as " + address +
        '\n');
  PrintLeftOut(list);
  return kOk;
}

struct ListCount {
  std::size_t counting = 0;
  std::size_t repeated = 0;
  std::size_t never_listed = 0;
};

}  // namespace

int RunListAdd(const std::string& file, const std::string& address) {
  const NamesPlaces places;
  if (!TakeListName(LastPart(file))) return kUsage;
  if (!IsIpv4Text(address)) {
    Complain(Quoted(address) + " is no IPv4 address.");
    return kUsage;
  }
  const int status = TakeIn(file, address, places);
  return status == kOk ? RunNameApply() : status;
}

int RunListRemove(const std::string& name) {
  const NamesPlaces places;
  if (!TakeListName(name)) return kUsage;
  const std::string path = places.lists + '/' + name;
  if (unlink(path.c_str()) != 0) {
    Complain(errno == ENOENT
                 ? "There is no list " + Quoted(name) + "; see 'dns_proxy_ctl list show'."
                 : path + SystemsReason(" can't be removed: ") + '.');
    return errno == ENOENT ? kNo : kError;
  }
  Print(Shown(name) + " is removed.\n");
  return RunNameApply();
}

int RunListShow() {
  const NamesPlaces places;
  std::map<std::string, ListCount> lists;
  std::string problem;
  for (const std::string& path : FilesIn(places.lists, problem)) lists[path];
  const NamesRemarks names = ForEachName(places, [&lists](const NamedAddress& named) {
    const auto list = lists.find(named.path);
    if (list == lists.end()) return;
    ListCount& count = list->second;
    switch (named.standing) {
      case Standing::kCounts:
        ++count.counting;
        break;
      case Standing::kLaterLine:
        ++count.repeated;
        break;
      case Standing::kNeverListed:
        ++count.never_listed;
        break;
    }
  });
  if (!names.problem.empty()) {
    Complain(names.problem + '.');
    return kError;
  }
  if (lists.empty()) Print("There is no list in " + places.lists + ".\n");
  for (const auto& [path, count] : lists) {
    Print(Shown(LastPart(path)) + ": " + Counted(count.counting, "name") + " in use, " +
          Grouped(count.repeated) + " that an earlier line has, " + Grouped(count.never_listed) +
          " never listed\n");
  }
  return kOk;
}

}  // namespace ctl
