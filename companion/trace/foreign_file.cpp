#include <algorithm>

#include "common/trace/line_table.h"
#include "companion/trace/report.h"

namespace ctl {
namespace {

struct Compression {
  std::string_view beginning;
  const char* name;
  const char* command;
};
// The formats' own magic numbers.
constexpr Compression kCompressions[] = {
    {"\x1f\x8b", "gzip", "zcat"},
    {"\xfd"
     "7zXZ",
     "xz", "xzcat"},
    {"\x28\xb5\x2f\xfd", "zstd", "zstdcat"},
    {"BZh", "bzip2", "bzcat"},
};

// Whether the line is one of the proxy's, with something in front that another program has put
// there.
bool HasPrefix(std::string_view line) {
  for (std::size_t colon = line.find(": "); colon != std::string_view::npos;
       colon = line.find(": ", colon + 1)) {
    const LineRow* row = nullptr;
    if (Recognise(line.substr(colon + 2), nullptr, row) == Fit::kYes) return true;
  }
  return false;
}

}  // namespace

std::string HintFor(std::string_view beginning, const std::string& path) {
  for (const Compression& compression : kCompressions) {
    if (beginning.substr(0, compression.beginning.size()) != compression.beginning) continue;
    return std::string(" It is compressed with ") + compression.name + ": " + compression.command +
           (path == "-" ? "" : " " + path) + " | dns_proxy_ctl trace";
  }
  while (!beginning.empty()) {
    const std::size_t end = std::min(beginning.find('\n'), beginning.size());
    if (HasPrefix(beginning.substr(0, end))) {
      return " Its lines are the proxy's, with something in front of each: read a journal with "
             "journalctl -o cat; from a file, cut it off with sed 's/^[^]]*]: //'.";
    }
    beginning.remove_prefix(std::min(end + 1, beginning.size()));
  }
  return "";
}

}  // namespace ctl
