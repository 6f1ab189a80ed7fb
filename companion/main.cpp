#include <fcntl.h>
#include <unistd.h>

#include <exception>
#include <new>

#include "common/output/exit_status.h"
#include "common/output/output.h"
#include "companion/command_line.h"

namespace {

// When the program is started with a closed standard output, a file or socket would otherwise be
// opened in its place, and results would be written into that: to the proxy, in the worst case.
void KeepStandardDescriptorsTaken() {
  int descriptor = open("/dev/null", O_RDONLY);
  while (descriptor >= 0 && descriptor <= STDERR_FILENO) descriptor = open("/dev/null", O_RDONLY);
  if (descriptor >= 0) close(descriptor);
}

}  // namespace

int main(int argc, char** argv) {
  KeepStandardDescriptorsTaken();
  try {
    return ctl::FinishOutput(ctl::RunCommandLine(argc, argv));
  } catch (const std::bad_alloc&) {
    ctl::Complain("There is not enough memory.");
  } catch (const std::exception& failure) {
    ctl::Complain(failure.what());
  }
  return ctl::kSystem;
}
