#include "companion/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>

#include "common/output/exit_status.h"
#include "common/output/output.h"
#include "common/output/shown_text.h"

namespace ctl {
namespace {

constexpr std::size_t kHelpColumn = 26;

bool IsCommand(const std::string& name) {
  return std::any_of(Commands().begin(), Commands().end(),
                     [&name](const Command& row) { return row.name == name; });
}

int Answer(const CLI::App& program, const CLI::ParseError& error) {
  const bool is_answer = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success);
  if (is_answer) {
    program.exit(error, std::cout);
    return kOk;
  }
  Complain(std::string(error.what()) + "; see --help.");
  return kUsage;
}

}  // namespace

int RunCommandLine(int argc, const char* const* argv) {
  CLI::App program("Checks, probes, reads and watches the local DNS proxy dns_proxy_mac.",
                   "dns_proxy_ctl");
  program.set_version_flag("--version", "dns_proxy_ctl " DNS_PROXY_VERSION);
  program.get_formatter()->column_width(kHelpColumn);
  program.require_subcommand(1);
  program.footer(
      "Exit status of all: 64 for a wrong command line, 71 when the system refuses\n"
      "memory or the like, 74 when the results can't be written.");
  if (argc > 1 && argv[1][0] != '-' && !IsCommand(argv[1])) {
    Complain("There is no command '" + Shown(argv[1]) + "'; see --help.");
    return kUsage;
  }
  Work asked_for;
  for (const Command& row : Commands()) {
    CLI::App* command = program.add_subcommand(row.name, row.summary);
    command->callback([&asked_for, work = row.describe(*command)] { asked_for = work; });
  }
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return Answer(program, error);
  }
  return asked_for();
}

}  // namespace ctl
