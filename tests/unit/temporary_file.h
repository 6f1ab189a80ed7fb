#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>
#include <string>

/// A file of the given text that goes with the object.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& text) {
    const int descriptor = mkstemp(path_.data());
    if (descriptor == -1) throw std::runtime_error("no temporary file");
    close(descriptor);
    std::ofstream(path_, std::ios::binary) << text;
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() { unlink(path_.c_str()); }

  const char* Path() const { return path_.c_str(); }

 private:
  std::string path_ = "/tmp/unit_tests_XXXXXX";
};
