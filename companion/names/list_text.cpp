#include "companion/names/list_text.h"

#include <algorithm>
#include <unordered_set>
#include <vector>

#include "companion/names/names_line.h"
#include "companion/names/written_name.h"

namespace ctl {
namespace {

// What hosts files have for the host itself: a list must not take them away from it.
bool IsOwnName(std::string_view name) {
  static const std::unordered_set<std::string_view> kOwn = {
      "localhost",     "localhost.localdomain",
      "local",         "broadcasthost",
      "ip6-localhost", "ip6-loopback",
      "ip6-localnet",  "ip6-mcastprefix",
      "ip6-allnodes",  "ip6-allrouters",
      "ip6-allhosts",  "localhost4",
      "localhost6",    "0.0.0.0"};
  return kOwn.count(name) > 0;
}

class ListReader {
 public:
  ListReader(ListText& list, const std::string& address, std::size_t names)
      : list_(list), address_(address) {
    taken_.reserve(names);
  }

  void TakeLine(std::string_view line, std::size_t number) {
    if (!line.empty() && line.front() == '!') return;
    SplitWords(WithoutComment(line), words_);
    if (words_.empty()) return;
    if (IsIpv6Text(words_[0])) return LeaveOut(LeftOut::kIpv6, number);
    const bool is_hosts_style = IsIpv4Text(words_[0]) && words_.size() > 1;
    if (!is_hosts_style && words_.size() > 1) return LeaveOut(LeftOut::kNoName, number);
    for (std::size_t at = is_hosts_style ? 1 : 0; at < words_.size(); ++at) {
      TakeName(words_[at], number);
    }
  }

 private:
  void LeaveOut(LeftOut reason, std::size_t line) {
    ListText::Count& count = list_.left_out[static_cast<std::size_t>(reason)];
    if (count.names++ == 0) count.first_line = line;
  }

  void TakeName(std::string_view written, std::size_t line) {
    if (IsOwnName(written)) return LeaveOut(LeftOut::kOwnName, line);
    WrittenName name = ReadWrittenName(written);
    if (!name.problem.empty()) return LeaveOut(LeftOut::kNoName, line);
    if (IsOwnName(name.name)) return LeaveOut(LeftOut::kOwnName, line);
    const auto [taken, is_new] = taken_.insert(std::move(name.name));
    if (!is_new) return LeaveOut(LeftOut::kAgain, line);
    list_.text.append(address_).append(1, ' ').append(*taken).append(1, '\n');
    ++list_.taken;
  }

  ListText& list_;
  const std::string& address_;
  std::vector<std::string_view> words_;
  std::unordered_set<std::string> taken_;
};

}  // namespace

ListText ReadList(std::string_view text, const std::string& address) {
  ListText list;
  const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  ListReader reader(list, address, lines);  // about a name a line
  ForEachLine(text, [&reader](std::string_view line, std::size_t number) {
    reader.TakeLine(line, number);
  });
  return list;
}

const char* InWords(LeftOut reason) {
  switch (reason) {
    case LeftOut::kAgain:
      return "repeated";
    case LeftOut::kIpv6:
      return "for IPv6, which the host map can't answer";
    case LeftOut::kOwnName:
      return "the host's own, such as localhost";
    case LeftOut::kNoName:
      return "no name that could be asked";
  }
  return "";
}

}  // namespace ctl
