#include "upstream/run/state_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "upstream/wire/say.h"

namespace upstream {
namespace {

constexpr Span kBetweenWritings = 1s;
constexpr mode_t kDirectoryMode = 0755;
constexpr mode_t kFileMode = 0644;

}  // namespace

StateFile::StateFile(std::string path) : path_(std::move(path)) {
  // Made by the service manager where there is one.
  mkdir(path_.substr(0, path_.rfind('/')).c_str(), kDirectoryMode);
}

StateFile::~StateFile() { unlink(path_.c_str()); }

bool StateFile::IsDue(Time now) const { return now - last_ >= kBetweenWritings; }

void StateFile::Write(const std::string& text, Time now) {
  last_ = now;
  if (text == written_) return;
  written_ = text;
  if (Replace(text) || has_complained_) return;
  has_complained_ = true;
  Say(path_ + " cannot be written: " + std::strerror(errno) + ".");
}

bool StateFile::Replace(const std::string& text) const {
  const std::string fresh = path_ + ".new";
  const int file =
      open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, kFileMode);
  if (file < 0) return false;
  const bool is_written =
      write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  close(file);
  return is_written && std::rename(fresh.c_str(), path_.c_str()) == 0;
}

}  // namespace upstream
