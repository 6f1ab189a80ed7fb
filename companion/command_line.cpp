#include "companion/command_line.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <iostream>

#include "companion/check/command.h"
#include "common/output/exit_status.h"
#include "common/output/output.h"
#include "companion/probe/command.h"
#include "companion/status/command.h"
#include "companion/trace/command.h"
#include "companion/watch/command.h"

namespace ctl {
namespace {

constexpr int kLongestTimeoutMs = 600000;
constexpr std::size_t kHelpColumn = 26;

// What was asked for; set while the command line is read, done when all of it has been read.
using Work = std::function<int()>;

void AddCheck(CLI::App& program, Work& work) {
  static CheckOptions options;
  CLI::App* command = program.add_subcommand(
      "check", "Tell what in the two configuration files will not do what it seems to");
  command
      ->add_option("--dns", options.server_file,
                   "The server file, in place of " + options.server_file)
      ->type_name("FILE")
      ->option_text("FILE");
  command
      ->add_option("--hostmap", options.host_map_file,
                   "The host map file, in place of " + options.host_map_file)
      ->type_name("FILE")
      ->option_text("FILE");
  command->add_flag("--strict", options.strict, "Exit with 1 when there are warnings");
  command->add_flag("--json", options.json, "Print one JSON object instead of lines");
  command->footer(
      "Prints FILE:LINE: error|warning: what it says -> what the proxy will do, and the\n"
      "counts at last. Line 0 is the file as a whole.\n\n"
      "Exit status: 0 without errors, 1 with warnings under --strict, 2 with errors.");
  command->callback([&work] { work = [] { return RunCheck(options); }; });
}

void AddProbe(CLI::App& program, Work& work) {
  static ProbeOptions options;
  CLI::App* command = program.add_subcommand(
      "probe", "Ask the running proxy a question, and tell how fast it answers");
  command
      ->add_option("--timeout", options.timeout_ms,
                   "How long to wait, in milliseconds; 1000 unless given")
      ->check(CLI::Range(1, kLongestTimeoutMs))
      ->type_name("MS")
      ->option_text("MS");
  command->add_flag("--upstreams", options.upstreams,
                    "Ask each configured server instead, directly");
  command->footer(
      "The question is for a reverse name, which the proxy answers by itself.\n\n"
      "Exit status: 0 when the proxy, or every server, answers; 1 when not; 2 when the\n"
      "server file can't be read.");
  command->callback([&work] { work = [] { return RunProbe(options); }; });
}

void AddTrace(CLI::App& program, Work& work) {
  static TraceOptions options;
  CLI::App* command = program.add_subcommand("trace", "Tell what the proxy's trace says");
  command->add_option("FILE", options.path, "The trace; standard input for - or without a name")
      ->option_text(" ");
  command->add_flag("-f,--follow", options.follow,
                    "Go on at the end, with a live view on a terminal");
  command->add_flag("--json", options.json, "Print a JSON object; with --follow one a change");
  command->footer(
      "What is followed without a terminal gives a line for each event.\n"
      "A trace in the journal is read with: journalctl --namespace=dns_proxy_mac\n"
      "-t dns_proxy_mac -o cat | dns_proxy_ctl trace\n\n"
      "Exit status: 0 when it was read, 1 when no line of it is the proxy's, 2 when it\n"
      "can't be read.");
  command->callback([&work] { work = [] { return RunTrace(options); }; });
}

void AddWatch(CLI::App& program, Work& work) {
  CLI::App* command = program.add_subcommand(
      "watch", "End the proxy when it takes no queries any more, to be started again");
  command->footer(
      "Looks once a second, in the process table alone, whether both workers live.\n"
      "Runs until it is ended, as the proxy's user or root, in the proxy's network.\n\n"
      "Exit status: 1 when the proxy can't be ended.");
  command->callback([&work] { work = [] { return RunWatch(); }; });
}

void AddStatus(CLI::App& program, Work& work) {
  CLI::App* command = program.add_subcommand("status", "Tell how the proxy is, in a few lines");
  command->footer("Exit status: 0 when it runs, both workers live and it answers; 1 when not.");
  command->callback([&work] { work = [] { return RunStatus(); }; });
}

int Answer(const CLI::App& program, const CLI::ParseError& error) {
  const bool is_answer = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success);
  if (is_answer) {
    program.exit(error, std::cout);
    return kOk;
  }
  ctl::Complain(std::string(error.what()) + "; see --help.");
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
  Work work;
  AddCheck(program, work);
  AddProbe(program, work);
  AddTrace(program, work);
  AddWatch(program, work);
  AddStatus(program, work);
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return Answer(program, error);
  }
  return work();
}

}  // namespace ctl
