#pragma once

#include <CLI/App.hpp>
#include <functional>
#include <vector>

namespace ctl {

/// Does what a command was asked to do and returns its exit status.
using Work = std::function<int()>;

/// One command of the program, as the command line knows it.
struct Command {
  const char* name;
  /// For the list in --help.
  const char* summary;
  /// Adds the options and what --help says below them. The work is done after the whole command
  /// line has been read.
  Work (*describe)(CLI::App& command);
};

/// The commands on names, with their own sub-commands.
Work DescribeName(CLI::App& command);
Work DescribeList(CLI::App& command);

/// All commands, in the order of --help.
const std::vector<Command>& Commands();

/// Reads the command line, does what it says and returns the exit status. --help, --version and a
/// wrong command line are dealt with here.
int RunCommandLine(int argc, const char* const* argv);

}  // namespace ctl
