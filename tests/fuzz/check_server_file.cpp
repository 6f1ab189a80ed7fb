// The check of the server file. Input: the file. A file about which nothing is said holds dotted
// IPv4 addresses, one a line, each once; what is said is about a line of it.

#include <arpa/inet.h>

#include <set>
#include <string>

#include "common/configuration/findings.h"
#include "tests/fuzz/check.h"
#include "tests/fuzz/file_in_memory.h"
#include "tests/fuzz/lines.h"
#include "tests/fuzz/quiet_trace.h"

namespace {

bool IsOneAddressALine(const std::string& content) {
  std::set<std::string> seen;
  for (const std::string& line : LinesOf(content)) {
    in_addr address;
    if (line.size() != UpToNul(line).size()) return false;
    if (inet_pton(AF_INET, line.c_str(), &address) != 1) return false;
    if (!seen.insert(line).second) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  QuietTrace();
  const std::string content(reinterpret_cast<const char*>(data), size);
  ctl::ServerFileText file;
  ctl::ReadServers(FileInMemory(content), file);
  CHECK(ctl::IsReadByProxy(file.text) || file.text.access == ctl::Access::kNotText);
  if (file.text.access == ctl::Access::kNotText) return 0;
  CHECK(file.text.lines.size() == LinesOf(content).size());
  CHECK(file.servers.size() == file.text.lines.size());

  ctl::Report report(ctl::Report::Form::kCountsOnly);
  ctl::CheckServers(file, report);
  CHECK(report.obstacles() <= report.errors());
  if (report.errors() + report.warnings() == 0) CHECK(IsOneAddressALine(content));
  return 0;
}
