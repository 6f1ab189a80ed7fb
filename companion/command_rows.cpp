#include <CLI/CLI.hpp>

#include "companion/command_line.h"
#include "companion/commands.h"

namespace ctl {
namespace {

constexpr int kLongestTimeoutMs = 600000;

void AddFile(CLI::App& command, const char* name, std::string& path, const std::string& what) {
  command.add_option(name, path, what + ", in place of " + path)
      ->type_name("FILE")
      ->option_text("FILE");
}

Work DescribeCheck(CLI::App& command) {
  static CheckOptions options;
  AddFile(command, "--dns", options.server_file, "The server file");
  AddFile(command, "--hostmap", options.host_map_file, "The host map file");
  command.add_flag("--strict", options.strict, "Exit with 1 when there are warnings");
  command.add_flag("--start", options.start, "Exit with 2 only for what serves nobody, or circles");
  command.add_flag("--json", options.json, "Print one JSON object instead of lines");
  command.footer(
      "Prints FILE:LINE: error|warning: what it says -> what the proxy will do, and the\n"
      "counts at last. Line 0 is the file as a whole. - as FILE is standard input.\n\n"
      "Exit status: 0 without errors, 1 with warnings under --strict, 2 with errors.");
  return [] { return RunCheck(options); };
}

Work DescribeProbe(CLI::App& command) {
  static ProbeOptions options;
  command
      .add_option("--timeout", options.timeout_ms,
                  "How long to wait, in milliseconds; 1000 unless given")
      ->check(CLI::Range(1, kLongestTimeoutMs))
      ->type_name("MS")
      ->option_text("MS");
  command.add_flag("--upstreams", options.upstreams,
                   "Ask each configured server instead, directly");
  command.footer(
      "The question is for a reverse name, which the proxy answers by itself.\n\n"
      "Exit status: 0 when the proxy, or every server, answers; 1 when not; 2 when the\n"
      "server file can't be read.");
  return [] { return RunProbe(options); };
}

Work DescribeTrace(CLI::App& command) {
  static TraceOptions options;
  command.add_option("FILE", options.path, "The trace; standard input for - or without a name")
      ->option_text(" ");
  command.add_flag("-f,--follow", options.follow,
                   "Go on at the end, with a live view on a terminal");
  command.add_flag("--json", options.json, "Print a JSON object; with --follow one a change");
  command.footer(
      "What is followed without a terminal gives a line for each event.\n"
      "The services keep theirs in /var/log/Varnok/trace.\n\n"
      "Exit status: 0 when it was read, 1 when no line of it is the proxy's, 2 when it\n"
      "can't be read.");
  return [] { return RunTrace(options); };
}

Work DescribeWatch(CLI::App& command) {
  command.footer(
      "Looks five times a second, in the process table alone, whether both workers\n"
      "live; and whether /var/log/Varnok/trace is half full or the proxy has run for a\n"
      "day: then it ends it in the next second in which nothing is traced.\n"
      "Runs until it is ended, as the proxy's user or root, in the proxy's network.\n\n"
      "Exit status: 1 when the proxy can't be ended.");
  return RunWatch;
}

Work DescribeGuard(CLI::App& command) {
  static GuardOptions options;
  command.add_option("PID", options.pid, "The proxy's process; without it the one on the port")
      ->check(CLI::PositiveNumber)
      ->option_text(" ");
  command.add_flag("--remove", options.remove, "Take the filters away again");
  command.footer(
      "On Linux, as root. The filters are the sockets' own and go with the proxy.\n\n"
      "Exit status: 0 when it is done, 1 when there is no proxy or the system refuses.");
  return [] { return RunGuard(options); };
}

Work DescribeOn(CLI::App& command) {
  static OnOptions options;
  command.add_flag("--keep", options.keep, "Stay, and do without the proxy while it is away");
  command.footer(
      "As root. Changes /etc/resolv.conf and what would write it; on macOS the servers\n"
      "of every active network service. What was there is kept beside the files and\n"
      "below /var/lib/dns_proxy_mac (macOS: /var/db/dns_proxy_mac).\n\n"
      "Exit status: 0 when the host asks the proxy, 1 when the proxy does not answer or\n"
      "would be asked in a circle, 2 when a file can't be changed.");
  return [] { return RunOn(options); };
}

Work DescribeOff(CLI::App& command) {
  command.footer(
      "As root. What others have written since stays, and is named.\n\n"
      "Exit status: 0 when all is as it was, 2 when a file can't be put back.");
  return RunOff;
}

Work DescribeUpstream(CLI::App& command) {
  static UpstreamOptions options;
  command.add_flag("--json", options.json, "Print a JSON object instead of lines");
  command.footer(
      "The addresses are those that dns_proxy_upstream answers on; behind them stand\n"
      "the servers of /var/log/Varnok/servers.\n\n"
      "Exit status: 0 when a server is alive and none silent, 1 when not or when the\n"
      "program does not run.");
  return [] { return RunUpstream(options); };
}

Work DescribeStatus(CLI::App& command) {
  static StatusOptions options;
  command.add_flag("--json", options.json, "Print one JSON object instead of lines");
  command.footer(
      "Exit status: 0 when the proxy runs, both workers live, it and all of its servers\n"
      "answer, and no option of the host's resolver is in the way; 1 when not.");
  return [] { return RunStatus(options); };
}

}  // namespace

const std::vector<Command>& Commands() {
  static const std::vector<Command> commands = {
      {"check", "Tell what in the two configuration files will not do what it seems to",
       DescribeCheck},
      {"probe", "Ask the running proxy a question, and tell how fast it answers", DescribeProbe},
      {"trace", "Tell what the proxy's trace says", DescribeTrace},
      {"watch", "End the proxy when it takes no queries any more, to be started again",
       DescribeWatch},
      {"guard", "Keep out of the proxy's sockets what would end it", DescribeGuard},
      {"on", "Have this host ask the proxy", DescribeOn},
      {"off", "Put back how this host asked for names before", DescribeOff},
      {"upstream", "Tell how each server behind dns_proxy_upstream is", DescribeUpstream},
      {"status", "Tell how the proxy is, in a few lines", DescribeStatus},
      {"name", "Give names their addresses, in a file for people", DescribeName},
      {"list", "Take in lists of names as they are given away", DescribeList},
  };
  return commands;
}

}  // namespace ctl
