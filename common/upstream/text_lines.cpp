#include "common/upstream/text_lines.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace upstream {
namespace {

constexpr std::size_t kMostFileBytes = 1 << 20;

// For the life of a block.
struct Descriptor {
  int number;
  ~Descriptor() {
    if (number >= 0) close(number);
  }
};

}  // namespace

bool IsText(std::string_view bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](char c) {
    return (c >= ' ' && c <= '~') || c == '\t' || c == '\n' || c == '\r';
  });
}

std::vector<std::string_view> Lines(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    lines.push_back(text.substr(0, end));
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
  return lines;
}

std::vector<std::string_view> Words(std::string_view line, std::string_view separators) {
  const std::string between = " \t\r" + std::string(separators);
  std::vector<std::string_view> words;
  for (;;) {
    const std::size_t begin = line.find_first_not_of(between);
    if (begin == std::string_view::npos) return words;
    line.remove_prefix(begin);
    const std::size_t end = std::min(line.find_first_of(between), line.size());
    words.push_back(line.substr(0, end));
    line.remove_prefix(end);
  }
}

std::optional<std::string> ReadFile(const std::string& path) {
  // A pipe in its place is not waited for.
  const Descriptor file{open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
  struct stat before {};
  if (file.number < 0 || fstat(file.number, &before) != 0 || !S_ISREG(before.st_mode)) {
    return std::nullopt;
  }
  std::string bytes(kMostFileBytes + 1, '\0');
  std::size_t count = 0;
  while (count < bytes.size()) {
    const ssize_t got = read(file.number, bytes.data() + count, bytes.size() - count);
    if (got < 0) return std::nullopt;
    if (got == 0) break;
    count += static_cast<std::size_t>(got);
  }
  struct stat after {};
  if (count > kMostFileBytes || fstat(file.number, &after) != 0 ||
      after.st_size != before.st_size || count != static_cast<std::size_t>(after.st_size)) {
    return std::nullopt;
  }
  bytes.resize(count);
  return bytes;
}

}  // namespace upstream
