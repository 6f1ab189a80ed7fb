#pragma once

#include <string>
#include <string_view>

#include "common/output/json_writer.h"

namespace ctl {

/// The rows of `status`: a line for each as it comes, or one JSON object at the end.
class StatusReport {
 public:
  explicit StatusReport(bool json);
  StatusReport(const StatusReport&) = delete;
  StatusReport& operator=(const StatusReport&) = delete;

  /// One row. What is not well makes the exit status kNo.
  void Add(std::string_view subject, const std::string& words, bool is_well = true);

  /// Ends the report and returns the exit status.
  int Finish();

 private:
  bool is_json_;
  bool is_well_ = true;
  JsonWriter json_;
};

}  // namespace ctl
