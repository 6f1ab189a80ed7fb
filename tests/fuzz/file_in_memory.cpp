#include "tests/fuzz/file_in_memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include "tests/fuzz/check.h"

std::string FileInMemory(const std::string& content) {
  static const int descriptor = memfd_create("configuration", MFD_CLOEXEC);
  CHECK(descriptor != -1);
  CHECK(ftruncate(descriptor, 0) == 0);
  CHECK(pwrite(descriptor, content.data(), content.size(), 0) ==
        static_cast<ssize_t>(content.size()));
  return "/proc/self/fd/" + std::to_string(descriptor);
}
