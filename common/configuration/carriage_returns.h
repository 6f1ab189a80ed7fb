#pragma once

#include <cstddef>

#include "common/configuration/configuration_text.h"
#include "companion/check/report.h"

namespace ctl {

/// The carriage returns at the line ends of a file. There is one warning for all of them, at the
/// first: a file from another system has one in every line.
class CarriageReturns {
 public:
  explicit CarriageReturns(const FileText& text);

  /// Warns when `line`, counted from 1, is the first that ends in one.
  void Check(std::size_t line, Report& report) const;

 private:
  std::size_t first_line_ = 0;
  std::size_t count_ = 0;
};

}  // namespace ctl
