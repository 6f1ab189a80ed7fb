// The main program of a fuzz target that is built without libFuzzer: takes every file, and every
// file of every folder, named on the command line through the target once. Any violation ends it.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

bool AddInputs(const fs::path& path, std::vector<fs::path>& inputs) {
  std::error_code error;
  if (fs::is_directory(path, error)) {
    for (const auto& entry : fs::directory_iterator(path, error)) inputs.push_back(entry.path());
  } else {
    inputs.push_back(path);
  }
  return !error && fs::exists(path, error);
}

bool Read(const fs::path& path, std::vector<std::uint8_t>& bytes) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return false;
  for (int byte = std::getc(file); byte != EOF; byte = std::getc(file)) {
    bytes.push_back(static_cast<std::uint8_t>(byte));
  }
  const bool complete = std::ferror(file) == 0;
  std::fclose(file);
  return complete;
}

bool Replay(const fs::path& path) {
  std::vector<std::uint8_t> bytes;
  if (!Read(path, bytes)) return false;
  // Named before it runs, so that it is known when it ends the program.
  std::fprintf(stderr, "%s\n", path.filename().c_str());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<fs::path> inputs;
  for (int i = 1; i < argc; ++i) {
    if (AddInputs(argv[i], inputs)) continue;
    std::fprintf(stderr, "%s: there is no such file or folder\n", argv[i]);
    return 1;
  }
  if (inputs.empty()) {
    std::fprintf(stderr, "nothing to replay: name files, or folders with files in them\n");
    return 1;
  }
  std::sort(inputs.begin(), inputs.end());
  for (const fs::path& input : inputs) {
    if (Replay(input)) continue;
    std::fprintf(stderr, "%s: can't be read\n", input.c_str());
    return 1;
  }
  std::fprintf(stderr, "%zu inputs replayed\n", inputs.size());
  return 0;
}
