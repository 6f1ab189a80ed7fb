#include "upstream/servers/scutil.h"

#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string_view>

#include "common/upstream/text_lines.h"
#include "upstream/wire/time.h"

extern char** environ;  // NOLINT: the system's own name

namespace upstream {
namespace {

constexpr Span kPatience = 500ms;
constexpr std::size_t kMostBytes = 1 << 16;

// Reads to the end of a pipe, within kPatience.
std::string ReadAll(int descriptor) {
  std::string text;
  const Time end = Clock::now() + kPatience;
  char piece[4096];
  while (text.size() < kMostBytes) {
    pollfd readable{descriptor, POLLIN, 0};
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    if (left <= 0 || poll(&readable, 1, static_cast<int>(left)) <= 0) return "";
    const ssize_t count = read(descriptor, piece, sizeof piece);
    if (count <= 0) return count == 0 ? text : "";
    text.append(piece, static_cast<std::size_t>(count));
  }
  return "";
}

// Runs `program` with `commands` as its standard input; what it prints.
std::string Run(const char* program, const std::string& commands) {
  int in[2];
  int out[2];
  if (pipe(in) != 0) return "";
  if (pipe(out) != 0) {
    close(in[0]);
    close(in[1]);
    return "";
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  for (const int end : {in[0], in[1], out[0], out[1]}) {
    posix_spawn_file_actions_addclose(&actions, end);
  }
  char name[] = "scutil";
  char* const arguments[] = {name, nullptr};
  pid_t process = 0;
  const bool runs = posix_spawn(&process, program, &actions, nullptr, arguments, environ) == 0;
  posix_spawn_file_actions_destroy(&actions);
  close(in[0]);
  close(out[1]);
  // A pipe has room for all of the commands.
  const auto count = static_cast<ssize_t>(commands.size());
  const bool told = runs && write(in[1], commands.data(), commands.size()) == count;
  close(in[1]);
  std::string text = told ? ReadAll(out[0]) : "";
  close(out[0]);
  if (runs) {
    if (text.empty()) kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
  }
  return text;
}

}  // namespace

std::string AskScutil(const char* program) {
  // "  subKey [0] = State:/Network/Service/.../DNS"
  const std::string keys = Run(program, "list State:/Network/Service/[^/]+/DNS\nquit\n");
  std::string commands;
  for (const std::string_view line : Lines(keys)) {
    const auto words = Words(line);
    if (words.size() == 4 && words[0] == "subKey")
      commands += "show " + std::string(words[3]) + '\n';
  }
  return commands.empty() ? "" : Run(program, commands + "quit\n");
}

}  // namespace upstream
