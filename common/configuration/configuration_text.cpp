#include "common/configuration/configuration_text.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

#include "dns_proxy_mac/trace/output.h"

namespace ctl {
namespace {

std::string_view UpToNul(std::string_view line) { return line.substr(0, line.find('\0')); }

bool Match(const FileText& text, const ServerList& servers) {
  return std::equal(
      text.lines.begin(), text.lines.end(), servers.begin(), servers.end(),
      [](std::string_view line, const std::string& server) { return UpToNul(line) == server; });
}

bool Match(const FileText& text, const HostMapList& entries) {
  auto entry = entries.begin();
  for (const std::string_view line : text.lines) {
    if (IsSkippedByProxy(line)) continue;
    if (entry == entries.end() || line.substr(0, entry->first.size()) != entry->first) return false;
    ++entry;
  }
  return entry == entries.end();
}

}  // namespace

bool IsSkippedByProxy(std::string_view line) { return !line.empty() && line.front() == ':'; }

void ReadServers(const std::string& path, ServerFileText& file) {
  ReadText(path, file.text);
  if (file.text.access != Access::kRead) return;
  ReadServerFile(path.c_str(), file.servers);
  if (Match(file.text, file.servers)) return;
  Settle(Access::kChanging, file.text);
  file.servers.clear();
}

void ReadHostMap(const std::string& path, HostMapFileText& file) {
  ReadText(path, file.text);
  if (file.text.access != Access::kRead) return;
  ReadHostMapFile(path.c_str(), file.entries);
  if (Match(file.text, file.entries)) return;
  Settle(Access::kChanging, file.text);
  file.entries.clear();
}

// The trace drops its lines when it finds no standard output. So standard output is closed while
// the trace looks for it.
void SilenceTrace() {
  const int kept = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (kept >= 0) close(STDOUT_FILENO);
  trace::OpenOutput();
  if (kept >= 0) {
    dup2(kept, STDOUT_FILENO);
    close(kept);
  }
}

}  // namespace ctl
