#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

/// A copy of the test's process that runs `body` and exits, destructors and leak check included,
/// with its result as status. Its descriptor 1 leads to the test; standard error is the test's.
class ChildProcess {
 public:
  explicit ChildProcess(const std::function<int()>& body);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  /// Kills a child that is still there.
  ~ChildProcess();

  /// Waits until everything printed so far ends with `text`, and returns the part not returned
  /// before. What has come when twenty seconds have passed, or the child has closed its end, is
  /// returned as it is.
  std::string ReadUntil(const std::string& text);

  /// Reads what has been printed so far, so that a child that prints much is never held up, and
  /// forgets it.
  void Drain();

  /// Waits for the end of the child and returns its exit status; -1 when a signal ended it. What
  /// it printed and nobody has read yet is then `rest`.
  int Wait();

  std::string rest;

 private:
  bool ReadMore(int patience_ms);

  pid_t pid_;
  int output_;
  std::string unread_;
};
