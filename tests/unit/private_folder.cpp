#include "tests/unit/private_folder.h"

#include <stdexcept>

#if defined(__APPLE__)

#include <filesystem>

void MakePrivateFolder(const char* folder) {
  std::error_code error;
  std::filesystem::remove_all(folder, error);
  if (!std::filesystem::create_directories(folder, error)) {
    throw std::runtime_error("no folder of its own");
  }
}

#else

#include <sched.h>
#include <sys/mount.h>

#include <filesystem>

void MakePrivateFolder(const char* folder) {
  const std::filesystem::path mounted = std::filesystem::path(folder).parent_path();
  std::error_code error;
  if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("tmpfs", mounted.c_str(), "tmpfs", 0, "mode=755") != 0 ||
      !std::filesystem::create_directories(folder, error)) {
    throw std::runtime_error("a folder of its own is not permitted");
  }
}

#endif
