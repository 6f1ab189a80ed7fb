#include "tests/unit/trace_capture.h"

#include <unistd.h>

#include <stdexcept>

#include "dns_proxy_mac/trace/output.h"

TraceCapture::TraceCapture() : file_(std::tmpfile()), saved_(dup(STDOUT_FILENO)) {
  if (file_ == nullptr || saved_ == -1) throw std::runtime_error("no file for the trace");
  Resume();
}

TraceCapture::~TraceCapture() {
  trace::Flush();
  dup2(saved_, STDOUT_FILENO);
  close(saved_);
  std::fclose(file_);
}

std::string TraceCapture::Taken() {
  trace::Flush();
  return Written();
}

std::string TraceCapture::Written() {
  std::string text;
  char part[4096];
  ssize_t length = 0;
  while ((length = pread(fileno(file_), part, sizeof(part), seen_)) > 0) {
    text.append(part, static_cast<std::size_t>(length));
    seen_ += length;
  }
  return text;
}

void TraceCapture::Resume() { dup2(fileno(file_), STDOUT_FILENO); }
