#include "tests/unit/child_process.h"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "dns_proxy_mac/trace/output.h"

namespace {

constexpr int kPatienceMs = 120000;

bool EndsWith(const std::string& all, const std::string& end) {
  return all.size() >= end.size() && all.compare(all.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

ChildProcess::ChildProcess(const std::function<int()>& body) {
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("no pipe");
  // Neither the report nor the trace may be printed by both processes.
  std::fflush(stdout);
  trace::Flush();
  pid_ = fork();
  if (pid_ == -1) throw std::runtime_error("no child process");
  if (pid_ == 0) {
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
    std::exit(body());
  }
  close(ends[1]);
  output_ = ends[0];
}

ChildProcess::~ChildProcess() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  close(output_);
}

bool ChildProcess::ReadMore(int patience_ms) {
  pollfd readable{output_, POLLIN, 0};
  if (poll(&readable, 1, patience_ms) <= 0) return false;
  char part[4096];
  const ssize_t length = read(output_, part, sizeof(part));
  if (length <= 0) return false;
  unread_.append(part, static_cast<std::size_t>(length));
  return true;
}

std::string ChildProcess::ReadUntil(const std::string& text) {
  while (!EndsWith(unread_, text) && ReadMore(kPatienceMs)) {
  }
  std::string read;
  read.swap(unread_);
  return read;
}

void ChildProcess::Drain() {
  while (ReadMore(0)) {
  }
  unread_.clear();
}

int ChildProcess::Wait() {
  while (ReadMore(kPatienceMs)) {
  }
  rest.swap(unread_);
  int status = 0;
  waitpid(pid_, &status, 0);
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
