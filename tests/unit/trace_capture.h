#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>

/// Leads descriptor 1, and with it the trace, into a file for as long as the object lives. The
/// report of the tests goes elsewhere, see main.cpp.
class TraceCapture {
 public:
  TraceCapture();
  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;
  /// What is not yet written out is lost with the file.
  ~TraceCapture();

  /// Everything printed since the last look, after a flush.
  std::string Taken();

  /// The same without a flush: only what the code under test has written out by itself.
  std::string Written();

  /// Leads descriptor 1 back into the file after a test has put something else in its place.
  void Resume();

 private:
  std::FILE* file_;
  int saved_;
  off_t seen_ = 0;
};
