#include "companion/names/names_edit.h"

#include <algorithm>

#include "companion/names/names_line.h"
#include "companion/names/written_name.h"

namespace ctl {
namespace {

constexpr std::string_view kBlanks = " \t";

std::string_view Find(const NamesLine& line, const std::string& name) {
  for (const std::string_view written : line.names) {
    if (ReadWrittenName(written).name == name) return written;
  }
  return {};
}

std::string_view CommentOf(std::string_view line) {
  const std::size_t at = line.find('#');
  return at == std::string_view::npos ? std::string_view() : line.substr(at);
}

// The line with `part`, which points into it, replaced by `by`.
std::string Exchanged(std::string_view line, std::string_view part, std::string_view by) {
  const auto at = static_cast<std::size_t>(part.data() - line.data());
  std::string result(line);
  return result.replace(at, part.size(), by);
}

// The line without one of its names and the blanks in front of it.
std::string WithoutName(std::string_view line, std::string_view written) {
  const auto at = static_cast<std::size_t>(written.data() - line.data());
  const std::size_t before = line.find_last_not_of(kBlanks, at - 1) + 1;
  std::string result(line);
  return result.erase(before, at + written.size() - before);
}

void AppendLine(std::string_view line, std::string& text) { text.append(line).append(1, '\n'); }

// Takes the name out of a line that has it, as often as it does.
void AppendWithout(std::string line, const std::string& name, std::string& text) {
  NamesLine taken;
  for (;;) {
    ReadNamesLine(line, taken);
    const std::string_view written = Find(taken, name);
    if (written.empty()) return AppendLine(line, text);
    if (taken.names.size() == 1) break;
    line = WithoutName(line, written);
  }
  if (const std::string_view comment = CommentOf(line); !comment.empty()) AppendLine(comment, text);
}

}  // namespace

NamesEdit AddName(std::string_view text, const std::string& name, const std::string& address) {
  NamesEdit edit;
  NamesLine taken;
  const std::string added = address + ' ' + name;
  ForEachLine(text, [&](std::string_view line, std::size_t number) {
    ReadNamesLine(line, taken);
    const std::string_view written = edit.line == 0 ? Find(taken, name) : std::string_view();
    if (written.empty()) return AppendLine(line, edit.text);
    edit.line = number;
    edit.has_changed = taken.address != address;
    if (!edit.has_changed) return AppendLine(line, edit.text);
    if (taken.names.size() == 1) {
      return AppendLine(Exchanged(line, taken.address, address), edit.text);
    }
    AppendLine(WithoutName(line, written), edit.text);
    AppendLine(added, edit.text);
  });
  if (edit.line != 0) return edit;
  AppendLine(added, edit.text);
  edit.has_changed = true;
  return edit;
}

NamesEdit RemoveName(std::string_view text, const std::string& name) {
  NamesEdit edit;
  NamesLine taken;
  ForEachLine(text, [&](std::string_view line, std::size_t number) {
    ReadNamesLine(line, taken);
    if (Find(taken, name).empty()) return AppendLine(line, edit.text);
    if (edit.line == 0) edit.line = number;
    edit.has_changed = true;
    AppendWithout(std::string(line), name, edit.text);
  });
  return edit;
}

}  // namespace ctl
