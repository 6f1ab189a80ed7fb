#include "page/live/companion_reports.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>  // NOLINT(modernize-deprecated-headers): the signals are the system's
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <utility>

#include "common/output/clock.h"
#include "page/json.h"

extern char** environ;  // NOLINT(readability-redundant-declaration): macOS declares it nowhere

namespace page {
namespace {

constexpr int kMostMs = 5000;
constexpr std::size_t kMostBytes = 4 << 20;
constexpr std::size_t kMostEntries = 50;  // of each list in a report
constexpr std::size_t kMostReportBytes = 64 << 10;
constexpr int kMostLevels = 16;

std::array<int, 2> MakePipe() {
  std::array<int, 2> ends{-1, -1};
  if (pipe(ends.data()) != 0) return {-1, -1};
  for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);
  return ends;
}

pid_t Spawn(const std::string& program, const char* command, int output) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  std::string name = program;
  std::string first = command;
  std::string second = "--json";
  char* const arguments[] = {name.data(), first.data(), second.data(), nullptr};
  // A group of its own, so that what it has started ends with it.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t usual;
  sigemptyset(&usual);
  sigaddset(&usual, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &usual);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
  pid_t child = -1;
  const int error = posix_spawn(&child, program.c_str(), &actions, &attributes, arguments, environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? child : -1;
}

// Everything up to the end; empty when it comes too late or is too much, or when `stop` is closed.
std::string ReadToEnd(int input, int stop) {
  const std::int64_t end = ctl::MonotonicNow() / ctl::kNanosecondsInMillisecond + kMostMs;
  std::string text;
  for (;;) {
    pollfd waited[2] = {{input, POLLIN, 0}, {stop, POLLIN, 0}};
    const std::int64_t left = end - ctl::MonotonicNow() / ctl::kNanosecondsInMillisecond;
    if (left <= 0 || poll(waited, 2, static_cast<int>(left)) <= 0) return {};
    if (waited[1].revents != 0) return {};
    char piece[16384];
    const ssize_t got = read(input, piece, sizeof(piece));
    if (got == 0) return text;
    if (got < 0 || text.size() > kMostBytes) return {};
    text.append(piece, static_cast<std::size_t>(got));
  }
}

// Only the beginning of long lists is kept. A document that is no report gives "null".
std::string ReportIn(const std::string& text) {
  Json document = FromText(text, kMostLevels);
  if (!document.is_object()) return "null";
  for (Json& value : document) {
    if (!value.is_array() || value.size() <= kMostEntries) continue;
    value.erase(value.begin() + kMostEntries, value.end());
  }
  std::string report = AsText(document);
  return report.size() <= kMostReportBytes ? report : "null";
}

}  // namespace

CompanionReports::CompanionReports(std::string program, int seconds)
    : program_(std::move(program)), seconds_(seconds), stop_(MakePipe()) {
  if (!program_.empty()) thread_ = std::thread([this] { Work(); });
}

CompanionReports::~CompanionReports() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_to_end_ = true;
  }
  changed_.notify_all();
  close(stop_[1]);
  if (thread_.joinable()) thread_.join();
  close(stop_[0]);
}

void CompanionReports::Want() {
  const std::lock_guard<std::mutex> lock(mutex_);
  is_wanted_ = true;
  changed_.notify_all();
}

CompanionReports::Reports CompanionReports::Last() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return last_;
}

std::string CompanionReports::Run(const char* command) const {
  const std::array<int, 2> ends = MakePipe();
  if (ends[0] < 0) return "null";
  const pid_t child = Spawn(program_, command, ends[1]);
  close(ends[1]);
  const std::string text = child < 0 ? "" : ReadToEnd(ends[0], stop_[0]);
  close(ends[0]);
  if (child >= 0) {
    kill(-child, SIGKILL);  // its output is whole, or comes too late
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
  return ReportIn(text);
}

void CompanionReports::Work() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return is_wanted_ || is_to_end_; });
    if (is_to_end_) return;
    is_wanted_ = false;
    lock.unlock();
    std::string status = Run("status");
    std::string check = Run("check");
    lock.lock();
    if (status != last_.status || check != last_.check) ++last_.version;
    last_.status = std::move(status);
    last_.check = std::move(check);
    changed_.wait_for(lock, std::chrono::seconds(seconds_), [this] { return is_to_end_; });
  }
}

}  // namespace page
