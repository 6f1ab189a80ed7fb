#include "tests/unit/program.h"

#include <fstream>

#include "tests/unit/private_folder.h"

namespace {

void WriteFile(const char* path, const char* text) {
  if (text != nullptr) std::ofstream(path) << text;
}

}  // namespace

int RunProgramWith(const char* servers, const char* host_map) {
  MakePrivateFolder("/var/log/Varnok");
  WriteFile("/var/log/Varnok/dns", servers);
  WriteFile("/var/log/Varnok/hostmap", host_map);
  return RunProgram();
}
