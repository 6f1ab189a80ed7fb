#include "tests/unit/program.h"

#include <sys/mount.h>
#include <sys/stat.h>

#include <fstream>
#include <stdexcept>

#include "tests/unit/child_process.h"

namespace {

void WriteFile(const char* path, const char* text) {
  if (text != nullptr) std::ofstream(path) << text;
}

}  // namespace

int RunProgramWith(const char* servers, const char* host_map) {
  UnshareMounts();
  if (mount("tmpfs", "/var/log", "tmpfs", 0, nullptr) != 0 || mkdir("/var/log/Varnok", 0755) != 0) {
    throw std::runtime_error("no configuration directory of its own");
  }
  WriteFile("/var/log/Varnok/dns", servers);
  WriteFile("/var/log/Varnok/hostmap", host_map);
  return RunProgram();
}
