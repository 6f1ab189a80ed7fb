#include "companion/names/all_names.h"

#include <algorithm>
#include <deque>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "common/output/shown_text.h"
#include "companion/names/names_line.h"
#include "companion/names/written_name.h"

namespace ctl {
namespace {

constexpr std::size_t kMostRemarksOfAFile = 20;

// The remarks on one file: the first ones in full, then how many more there are.
class FileRemarks {
 public:
  FileRemarks(const std::string& path, std::vector<std::string>& all)
      : path_(Shown(path)), all_(all) {}
  FileRemarks(const FileRemarks&) = delete;
  FileRemarks& operator=(const FileRemarks&) = delete;
  ~FileRemarks() {
    if (count_ <= kMostRemarksOfAFile) return;
    all_.push_back(path_ + ": " + Grouped(count_ - kMostRemarksOfAFile) + " more like these");
  }

  // Whether there is room for one more; a remark that is not shown need not be put together.
  bool Count() { return ++count_ <= kMostRemarksOfAFile; }
  void Add(std::size_t line, const std::string& clause) {
    all_.push_back(path_ + ':' + std::to_string(line) + ": " + clause);
  }

 private:
  const std::string path_;
  std::vector<std::string>& all_;
  std::size_t count_ = 0;
};

class Walk {
 public:
  Walk(NamesRemarks& result, const std::function<void(const NamedAddress&)>& visit)
      : result_(result), visit_(visit) {}

  void TakeNeverListed(const std::string& path);
  // Whether there is such a file.
  bool TakeNames(const std::string& path, bool is_list);

 private:
  struct Use {
    const std::string* path;
    std::size_t line;
  };

  bool Read(const std::string& path, bool may_be_missing, std::string& text);
  void TakeName(const std::string& path, std::size_t line, std::string_view written,
                std::string_view address, bool is_list, FileRemarks& remarks);

  NamesRemarks& result_;
  const std::function<void(const NamedAddress&)>& visit_;
  std::deque<std::string> paths_;  // that uses point at
  std::unordered_map<std::string, Use> first_uses_;
  std::unordered_set<std::string> never_listed_;
};

bool Walk::Read(const std::string& path, bool may_be_missing, std::string& text) {
  bool is_missing = false;
  const std::string problem = ReadTextFile(path, text, is_missing);
  if (problem.empty()) return true;
  if (!is_missing || !may_be_missing) result_.problem = Shown(path) + ": " + problem;
  return false;
}

void Walk::TakeNeverListed(const std::string& path) {
  std::string text;
  if (!Read(path, true, text)) return;
  FileRemarks remarks(path, result_.remarks);
  ForEachLine(text, [&](std::string_view line, std::size_t number) {
    const std::string_view written = WithoutComment(line);
    if (written.empty()) return;
    WrittenName name = ReadWrittenName(written);
    if (name.problem.empty()) {
      never_listed_.insert(std::move(name.name));
    } else if (remarks.Count()) {
      remarks.Add(number, name.problem);
    }
  });
}

void Walk::TakeName(const std::string& path, std::size_t line, std::string_view written,
                    std::string_view address, bool is_list, FileRemarks& remarks) {
  WrittenName name = ReadWrittenName(written);
  if (!name.problem.empty()) {
    if (remarks.Count()) remarks.Add(line, name.problem);
    return;
  }
  if (is_list && never_listed_.count(name.name) > 0) {
    visit_({path, line, name.name, address, Standing::kNeverListed});
    return;
  }
  const auto [use, is_first] = first_uses_.try_emplace(std::move(name.name), Use{&path, line});
  visit_({path, line, use->first, address, is_first ? Standing::kCounts : Standing::kLaterLine});
  if (is_first || !remarks.Count()) return;
  remarks.Add(line, Quoted(use->first) + " again, after line " + std::to_string(use->second.line) +
                        " of " + Shown(*use->second.path) + ", which counts");
}

bool Walk::TakeNames(const std::string& path, bool is_list) {
  std::string text;
  if (!Read(path, !is_list, text)) return false;
  const std::string& kept_path = paths_.emplace_back(path);
  FileRemarks remarks(path, result_.remarks);
  NamesLine taken;
  // There is about one name in each line. Without this the table rehashes about twenty times for a
  // million names.
  const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  first_uses_.reserve(first_uses_.size() + lines);
  ForEachLine(text, [&](std::string_view line, std::size_t number) {
    ReadNamesLine(line, taken);
    if (!taken.problem.empty() && remarks.Count()) remarks.Add(number, taken.problem);
    for (const std::string_view name : taken.names) {
      TakeName(kept_path, number, name, taken.address, is_list, remarks);
    }
  });
  return true;
}

}  // namespace

NamesRemarks ForEachName(const NamesPlaces& places,
                         const std::function<void(const NamedAddress&)>& visit) {
  NamesRemarks result;
  Walk walk(result, visit);
  walk.TakeNeverListed(places.never_listed);
  const bool has_names = result.problem.empty() && walk.TakeNames(places.names, false);
  std::vector<std::string> lists;
  if (result.problem.empty()) lists = FilesIn(places.lists, result.problem);
  for (const std::string& list : lists) {
    if (result.problem.empty()) walk.TakeNames(list, true);
  }
  result.is_without_sources = !has_names && lists.empty();
  return result;
}

}  // namespace ctl
