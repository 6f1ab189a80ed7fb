#include "common/output/output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "common/output/exit_status.h"

namespace ctl {
namespace {

int g_FirstWriteError = 0;

void Note(bool written) {
  if (!written && g_FirstWriteError == 0) g_FirstWriteError = errno;
}

}  // namespace

void Print(std::string_view text) {
  Note(std::fwrite(text.data(), 1, text.size(), stdout) == text.size());
}

void FlushOutput() { Note(std::fflush(stdout) == 0); }

void Complain(std::string_view sentence) {
  static_cast<void>(std::fprintf(stderr, "dns_proxy_ctl: %.*s\n", static_cast<int>(sentence.size()),
                                 sentence.data()));
}

int FinishOutput(int status) {
  FlushOutput();
  if (g_FirstWriteError == 0) return status;
  Complain(std::string("The results could not be written: ") + std::strerror(g_FirstWriteError) +
           ".");
  return kNotWritten;
}

}  // namespace ctl
