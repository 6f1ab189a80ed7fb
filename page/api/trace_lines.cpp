#include "page/api/trace_lines.h"

#include <unistd.h>

#include <string_view>

#include "common/output/shown_text.h"
#include "page/follow/trace_file.h"

namespace page {
namespace {

constexpr std::size_t kStretch = 512 << 10;
constexpr std::size_t kMostLines = 200;
constexpr std::size_t kIntakeLines = 4;  // that lead up to the one that names the id
constexpr std::string_view kFiled = "(line:464)FromAPP: the request domain is ";

std::string ReadStretch(int file, std::uint64_t offset) {
  std::string text(kStretch, '\0');
  std::size_t size = 0;
  while (size < text.size()) {
    const ssize_t got =
        pread(file, text.data() + size, text.size() - size, static_cast<off_t>(offset + size));
    if (got <= 0) break;
    size += static_cast<std::size_t>(got);
  }
  text.resize(size);
  return text;
}

std::vector<std::string_view> LinesOf(std::string_view text) {
  std::vector<std::string_view> lines;
  for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
    lines.push_back(text.substr(0, end));
    text.remove_prefix(end + 1);
  }
  return lines;
}

bool Contains(std::string_view line, std::string_view part) {
  return line.find(part) != std::string_view::npos;
}

// The id's digits, where `line` files a query for this name (as it is shown).
std::string_view IdFiledFor(const std::string& name, std::string_view line) {
  const std::size_t begin = line.find(kFiled);
  const std::size_t end = line.rfind(", id:");
  if (begin == std::string_view::npos || end == std::string_view::npos) return {};
  const std::size_t first = begin + kFiled.size();
  if (end < first || ctl::Shown(line.substr(first, end - first)) != name) return {};
  return line.substr(end + 5);
}

bool IsAboutId(std::string_view line, const std::string& id) {
  for (const std::string& mark : {"id:" + id, "id: " + id}) {
    const std::size_t at = line.rfind(mark);
    if (at == std::string_view::npos) continue;
    const std::size_t behind = at + mark.size();
    if (behind == line.size() || line[behind] == ',' || line[behind] == ':') return true;
  }
  return false;
}

// The fallback's lines without an id belong to the query that the line before them names.
bool IsContinued(std::string_view line) {
  return Contains(line, "(line:624)") || Contains(line, "(line:673)") ||
         Contains(line, "(line:685)") || Contains(line, "iCurrentDNSMethodType");
}

bool IsLast(std::string_view line) {
  return Contains(line, "(line:367)") || Contains(line, "(line:364)") ||
         Contains(line, "(line:669)") || Contains(line, "(line:685)") ||
         Contains(line, ",sendto failed");
}

bool IsIntake(std::string_view line) {
  return Contains(line, "(line:282)") || Contains(line, "(line:412)") ||
         Contains(line, "(line:420)") || Contains(line, "(line:432)");
}

std::vector<std::string> Collect(const std::vector<std::string_view>& lines, std::size_t filed,
                                 const std::string& id) {
  std::vector<std::string> found;
  const std::size_t begin = filed < kIntakeLines ? 0 : filed - kIntakeLines;
  for (std::size_t at = begin; at < filed; ++at) {
    if (IsIntake(lines[at])) found.push_back(ctl::Shown(lines[at]));
  }
  found.push_back(ctl::Shown(lines[filed]));
  bool was_own = true;
  for (std::size_t at = filed + 1; at < lines.size() && found.size() < kMostLines; ++at) {
    const bool is_own = IsAboutId(lines[at], id) || (was_own && IsContinued(lines[at]));
    was_own = is_own;
    if (!is_own) continue;
    if (Contains(lines[at], "(line:464)")) break;  // the id has come round
    found.push_back(ctl::Shown(lines[at]));
    if (IsLast(lines[at])) break;
  }
  return found;
}

}  // namespace

std::vector<std::string> TraceLinesOf(const Query& query, const std::string& path) {
  if (query.place.inode == 0) return {};
  const int file = OpenTraceFile(path, query.place);
  if (file < 0) return {};
  const std::string text = ReadStretch(file, query.place.offset);
  close(file);
  const std::vector<std::string_view> lines = LinesOf(text);
  for (std::size_t at = 0; at < lines.size(); ++at) {
    const std::string_view id = IdFiledFor(query.name, lines[at]);
    if (!id.empty()) return Collect(lines, at, std::string(id));
  }
  return {};
}

}  // namespace page
