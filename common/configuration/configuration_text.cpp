#include "common/configuration/configuration_text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "common/configuration/text_or_not.h"
#include "dns_proxy_mac/trace/output.h"

namespace ctl {
namespace {

constexpr std::size_t kReadSize = 1 << 20;

class Descriptor {
 public:
  explicit Descriptor(const std::string& path)
      : number_(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }
  int number() const { return number_; }

 private:
  int number_;
};

Access Refusal(FileText& text) {
  text.reason = std::string("it can't be read: ") + std::strerror(errno);
  return errno == ENOENT ? Access::kMissing : Access::kRefused;
}

// The usual way to name a file with nothing in it.
bool IsNullDevice(const struct stat& status) {
  struct stat null_device;
  return S_ISCHR(status.st_mode) && stat("/dev/null", &null_device) == 0 &&
         status.st_rdev == null_device.st_rdev;
}

Access ReadBytes(const std::string& path, FileText& text) {
  const Descriptor file(path);
  struct stat status;
  if (file.number() < 0 || fstat(file.number(), &status) != 0) return Refusal(text);
  if (S_ISDIR(status.st_mode)) return Access::kDirectory;
  if (!S_ISREG(status.st_mode) && !IsNullDevice(status)) return Access::kNotAFile;
  for (;;) {
    const std::size_t had = text.bytes.size();
    text.bytes.resize(had + kReadSize);
    const ssize_t got = read(file.number(), text.bytes.data() + had, kReadSize);
    text.bytes.resize(had + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    if (got < 0) return Refusal(text);
    if (got == 0) return LooksLikeText(text.bytes) ? Access::kRead : Access::kNotText;
  }
}

// As the standard line reader does it: nothing follows a last line end.
void SplitLines(FileText& text) {
  const std::string_view bytes = text.bytes;
  std::size_t begin = 0;
  while (begin < bytes.size()) {
    const std::size_t end = std::min(bytes.find('\n', begin), bytes.size());
    text.lines.push_back(bytes.substr(begin, end - begin));
    begin = end + 1;
  }
}

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

const char* Clause(Access access) {
  switch (access) {
    case Access::kRead:
    case Access::kRefused:
      break;
    case Access::kMissing:
      return "there is no such file";
    case Access::kDirectory:
      return "it is a directory";
    case Access::kNotAFile:
      return "it is no regular file";
    case Access::kNotText:
      return "it holds something other than text";
    case Access::kChanging:
      return "it was written to while it was read";
  }
  return "";
}

void Settle(Access access, FileText& text) {
  text.access = access;
  if (access != Access::kRefused) text.reason = Clause(access);
  if (access == Access::kRead) return;
  text.lines.clear();
  text.bytes.clear();
}

void ReadText(const std::string& path, FileText& text) {
  Settle(ReadBytes(path, text), text);
  if (text.access == Access::kRead) SplitLines(text);
}

}  // namespace

bool IsSkippedByProxy(std::string_view line) { return !line.empty() && line.front() == ':'; }

bool IsReadByProxy(const FileText& text) {
  return text.access == Access::kRead || text.access == Access::kMissing ||
         text.access == Access::kDirectory;
}

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

// The trace drops its lines when it finds no standard output; so there is none while it looks.
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
