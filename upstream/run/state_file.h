#pragma once

#include <string>

#include "upstream/wire/time.h"

namespace upstream {

/// Keeps a small file that others may read at any time: whole, and at most a second old.
class StateFile {
 public:
  explicit StateFile(std::string path);
  /// The file is removed with this object.
  ~StateFile();
  StateFile(const StateFile&) = delete;
  StateFile& operator=(const StateFile&) = delete;

  bool IsDue(Time now) const;
  /// Writes the file when the text has changed. The first failure is reported in one sentence; the
  /// program goes on without the file.
  void Write(const std::string& text, Time now);

 private:
  bool Replace(const std::string& text) const;

  const std::string path_;
  std::string written_;
  Time last_;
  bool has_complained_ = false;
};

}  // namespace upstream
