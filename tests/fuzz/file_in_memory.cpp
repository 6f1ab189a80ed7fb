#include "tests/fuzz/file_in_memory.h"

#if !defined(__APPLE__)
#include <sys/mman.h>
#endif
#include <unistd.h>

#include <cstdlib>

#include "tests/fuzz/check.h"

namespace {

// A file that no folder has, in memory where the system offers that.
int NamelessFile() {
#if defined(__APPLE__)
  char name[] = "/tmp/configuration.XXXXXX";
  const int descriptor = mkstemp(name);
  unlink(name);
  return descriptor;
#else
  return memfd_create("configuration", MFD_CLOEXEC);
#endif
}

}  // namespace

std::string FileInMemory(const std::string& content) {
  static const int descriptor = NamelessFile();
  CHECK(descriptor != -1);
  CHECK(ftruncate(descriptor, 0) == 0);
  CHECK(pwrite(descriptor, content.data(), content.size(), 0) ==
        static_cast<ssize_t>(content.size()));
#if defined(__APPLE__)
  CHECK(lseek(descriptor, 0, SEEK_SET) == 0);  // its names there share one place to read at
#endif
  return "/dev/fd/" + std::to_string(descriptor);
}
