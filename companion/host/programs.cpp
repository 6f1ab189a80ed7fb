#include "companion/host/programs.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

extern char** environ;  // NOLINT: the system's own name

namespace ctl {
namespace {

// Both ends of a pipe, for the life of a block.
struct Pipe {
  int ends[2] = {-1, -1};

  bool Open() {
    if (pipe(ends) != 0) return false;
    fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    fcntl(ends[1], F_SETFD, FD_CLOEXEC);
    return true;
  }
  void CloseWriting() {
    close(ends[1]);
    ends[1] = -1;
  }
  ~Pipe() {
    for (const int end : ends) {
      if (end >= 0) close(end);
    }
  }
};

std::string ReadToEnd(int descriptor) {
  std::string text;
  char piece[4096];
  for (;;) {
    const ssize_t count = read(descriptor, piece, sizeof(piece));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return text;
    text.append(piece, static_cast<std::size_t>(count));
  }
}

}  // namespace

std::optional<ProgramRun> RunProgram(const std::vector<std::string>& words) {
  Pipe output;
  if (!output.Open()) return std::nullopt;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output.ends[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output.ends[1], STDERR_FILENO);
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  pid_t process = 0;
  const int error =
      posix_spawn(&process, words[0].c_str(), &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) return std::nullopt;
  output.CloseWriting();
  ProgramRun run{0, ReadToEnd(output.ends[0])};
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) continue;
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

}  // namespace ctl
