#pragma once

#include <cstddef>
#include <string>

#include "common/configuration/finding.h"
#include "common/output/json_writer.h"

namespace ctl {

/// Where findings go: counted always, and printed as they come unless only the counts are wanted.
class Report {
 public:
  enum class Form { kText, kJson, kCountsOnly };

  explicit Report(Form form);
  Report(const Report&) = delete;
  Report& operator=(const Report&) = delete;

  /// The findings that follow are about `path`.
  void BeginFile(const std::string& path) { path_ = path; }

  void Add(const Finding& finding);
  void Error(std::size_t line, std::string what, std::string effect);
  void Warning(std::size_t line, std::string what, std::string effect);

  /// Prints what comes after the last finding: how much was read, and how many findings there were.
  void Finish(std::size_t servers, std::size_t host_map_entries);

  std::size_t errors() const { return errors_; }
  std::size_t warnings() const { return warnings_; }

 private:
  void PrintJson(const Finding& finding);
  void PrintText(const Finding& finding) const;

  Form form_;
  JsonWriter json_;
  std::string path_;
  std::size_t errors_ = 0;
  std::size_t warnings_ = 0;
};

/// "1 error, 2 warnings", or "nothing to report".
std::string CountsInWords(std::size_t errors, std::size_t warnings);

}  // namespace ctl
