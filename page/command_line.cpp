#include "page/command_line.h"

#include <CLI/CLI.hpp>
#include <iostream>

#include "common/output/exit_status.h"

namespace page {
namespace {

constexpr int kLongestHours = 24 * 400;
constexpr int kLeastMegabytes = 16;
constexpr int kMostMegabytes = 64 * 1024;

void AddOptions(CLI::App& program, Options& options) {
  const auto add = [&program](const char* name, auto& value, const char* help, const char* type) {
    return program.add_option(name, value, help)->type_name(type)->option_text(type);
  };
  add("--trace", options.trace,
      "The proxy's trace; - for standard input; /var/log/Varnok/trace unless given", "FILE");
  add("--database", options.database,
      "What is remembered; /var/lib/dns_proxy_page/memory.db unless given", "FILE");
  add("--port", options.port,
      "Of 127.0.0.1, where the page is; 5380 unless given, 0 for any free one", "PORT");
  add("--query-hours", options.query_hours,
      "How long single queries are kept; 24 unless given, 0 for not at all", "HOURS")
      ->check(CLI::Range(0, kLongestHours));
  add("--megabytes", options.megabytes, "What the database may take; 64 unless given", "MB")
      ->check(CLI::Range(kLeastMegabytes, kMostMegabytes));
  add("--companion", options.companion,
      "dns_proxy_ctl, to show what its check and status say; none for no such program", "PROGRAM");
  add("--companion-seconds", options.companion_seconds,
      "Between two runs of it, while somebody looks; 60 unless given", "SECONDS")
      ->check(CLI::Range(1, 3600));
}

}  // namespace

bool ReadCommandLine(int argc, const char* const* argv, Options& options, int& status) {
  CLI::App program(
      "Shows what the local DNS proxy dns_proxy_mac does, and remembers it, on a page at\n"
      "http://127.0.0.1:5380/",
      "dns_proxy_page");
  program.set_version_flag("--version", "dns_proxy_page " DNS_PROXY_VERSION);
  options.companion = DNS_PROXY_COMPANION;
  AddOptions(program, options);
  program.footer(
      "Exit status: 0 when it was ended by a signal, 64 for a wrong command line, 71 when\n"
      "the port or the database can't be had.");
  try {
    program.parse(argc, argv);
    if (options.companion == "none") options.companion.clear();
    return true;
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
      program.exit(error, std::cout);
      status = ctl::kOk;
      return false;
    }
    std::cerr << "dns_proxy_page: " << error.what() << "; see --help.\n";
    status = ctl::kUsage;
    return false;
  }
}

}  // namespace page
