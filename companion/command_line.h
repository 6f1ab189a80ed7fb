#pragma once

namespace ctl {

/// Reads the command line and does what it says; the exit status. --help and --version are done
/// here, and a wrong command line is complained of.
int RunCommandLine(int argc, const char* const* argv);

}  // namespace ctl
