#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "common/configuration/configuration_text.h"
#include "common/platform/descriptor.h"

namespace ctl {
namespace {

constexpr std::size_t kReadSize = 1 << 20;
constexpr std::size_t kSampleSize = 65536;
constexpr std::size_t kOddBytesToBeBinary = 4;  // one byte in this many

bool IsAsciiText(unsigned char byte) {
  if (byte >= 0x20) return byte < 0x7F;
  return byte == '\t' || byte == '\n' || byte == '\r';
}

// How many bytes follow a UTF-8 lead byte; 0 when it is none.
std::size_t Followers(unsigned char lead) {
  if (lead >= 0xC2 && lead <= 0xDF) return 1;
  if (lead >= 0xE0 && lead <= 0xEF) return 2;
  if (lead >= 0xF0 && lead <= 0xF4) return 3;
  return 0;
}

// The length of the character at the start of `bytes` in UTF-8 beyond ASCII; 0 when there is none.
std::size_t WideCharacterLength(std::string_view bytes) {
  const std::size_t followers = Followers(static_cast<unsigned char>(bytes.front()));
  if (followers == 0 || bytes.size() <= followers) return 0;
  for (std::size_t at = 1; at <= followers; ++at) {
    if ((static_cast<unsigned char>(bytes[at]) & 0xC0) != 0x80) return 0;
  }
  return followers + 1;
}

// False for a program, a picture, an archive, UTF-16 text and the like: when a quarter of the first
// 64 KB is neither text in ASCII or UTF-8 nor a tab or line end. A few odd bytes are text.
bool LooksLikeText(std::string_view bytes) {
  const std::string_view sample = bytes.substr(0, kSampleSize);
  std::size_t odd = 0;
  for (std::size_t at = 0; at < sample.size();) {
    if (IsAsciiText(static_cast<unsigned char>(sample[at]))) {
      ++at;
      continue;
    }
    const std::size_t wide = WideCharacterLength(sample.substr(at));
    if (wide == 0) ++odd;
    at += wide == 0 ? 1 : wide;
  }
  return odd * kOddBytesToBeBinary < sample.size() || odd == 0;
}

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
  const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
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

}  // namespace

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

bool IsReadByProxy(const FileText& text) {
  return text.access == Access::kRead || text.access == Access::kMissing ||
         text.access == Access::kDirectory;
}

}  // namespace ctl
