// The check of the host map. Input: a byte for the length of the method list, then the file. A file
// about which nothing is said holds a name in lower case, a colon and a dotted IPv4 address a line,
// each name once.

#include <arpa/inet.h>

#include <algorithm>
#include <set>
#include <string>

#include "common/configuration/findings.h"
#include "tests/fuzz/check.h"
#include "tests/fuzz/file_in_memory.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/lines.h"
#include "tests/fuzz/quiet_trace.h"

namespace {

bool IsUpper(char character) { return character >= 'A' && character <= 'Z'; }

bool IsOneNameALine(const std::string& content) {
  std::set<std::string> names;
  for (const std::string& line : LinesOf(content)) {
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos || line.size() != UpToNul(line).size()) return false;
    const std::string name = line.substr(0, colon);
    in_addr address;
    if (inet_pton(AF_INET, line.substr(colon + 1).c_str(), &address) != 1) return false;
    if (name.empty() || std::any_of(name.begin(), name.end(), IsUpper)) return false;
    if (!names.insert(name).second) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  QuietTrace();
  Input input(data, size);
  const std::size_t servers = input.Byte() * std::size_t{2};
  const std::string content = input.Rest();
  ctl::HostMapFileText file;
  ctl::ReadHostMap(FileInMemory(content), file);
  CHECK(ctl::IsReadByProxy(file.text) || file.text.access == ctl::Access::kNotText);
  if (file.text.access == ctl::Access::kNotText) return 0;
  CHECK(file.text.lines.size() == LinesOf(content).size());
  CHECK(file.entries.size() <= file.text.lines.size());

  ctl::Report report(ctl::Report::Form::kCountsOnly);
  const ctl::MethodList list{servers, !file.entries.empty()};
  ctl::CheckHostMap(file, list, report);
  if (report.errors() + report.warnings() == 0) CHECK(IsOneNameALine(content));
  ctl::CheckMethodList(list, report);
  CHECK((report.obstacles() > 0) == (list.Length() == 0 || list.Length() >= 256));
  return 0;
}
