#pragma once

#include <optional>
#include <string>
#include <vector>

namespace ctl {

/// What a run of a program has come to.
struct ProgramRun {
  int status;
  std::string output;
};

/// Runs the program to its end, without a shell, its standard output and error taken. `words`: its
/// full path and its arguments. Nothing when it can't be run.
std::optional<ProgramRun> RunProgram(const std::vector<std::string>& words);

}  // namespace ctl
