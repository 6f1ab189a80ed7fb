#include "common/platform/user_access.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

namespace ctl {
namespace {

#if defined(__APPLE__)
using Group = int;  // as its initgroups takes it
#else
using Group = gid_t;
#endif

constexpr int kNothingInTheWay = 0;  // status of the child; otherwise the obstacle's number

// "/a/b/c" becomes "/", "/a", "/a/b", "/a/b/c".
std::vector<std::string> StepsTo(const std::string& path) {
  std::vector<std::string> steps = {"/"};
  for (std::size_t slash = path.find('/', 1); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    steps.push_back(path.substr(0, slash));
  }
  steps.push_back(path);
  return steps;
}

bool Become(const passwd& user) {
  return initgroups(user.pw_name, static_cast<Group>(user.pw_gid)) == 0 &&
         setgid(user.pw_gid) == 0 && setuid(user.pw_uid) == 0;
}

// The number of the first step that is refused, counted from 1.
int FirstRefused(const std::vector<std::string>& steps) {
  for (std::size_t at = 0; at + 1 < steps.size(); ++at) {
    if (access(steps[at].c_str(), X_OK) != 0 && errno == EACCES) return static_cast<int>(at) + 1;
  }
  const int file = open(steps.back().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (file < 0 && errno == EACCES) return static_cast<int>(steps.size());
  return kNothingInTheWay;
}

}  // namespace

std::optional<AccessObstacle> WhatKeepsFromReading(const char* user, const std::string& path) {
  if (geteuid() != 0) return std::nullopt;
  const passwd* entry = getpwnam(user);
  if (entry == nullptr) return std::nullopt;
  const std::vector<std::string> steps = StepsTo(path);
  const pid_t child = fork();
  if (child == 0) _exit(Become(*entry) ? FirstRefused(steps) : kNothingInTheWay);
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) return std::nullopt;
  const int refused = WEXITSTATUS(status);
  if (refused == kNothingInTheWay) return std::nullopt;
  const auto at = static_cast<std::size_t>(refused) - 1;
  return AccessObstacle{steps[at], at + 1 < steps.size()};
}

}  // namespace ctl
