#pragma once

#include <cstddef>
#include <string>

#include "dns_proxy_mac/startup/configuration_files.h"

namespace ctl {

// What each command does, and its options. Results go to standard output, complaints to standard
// error. What is returned is an exit status of common/output/exit_status.h. The words of the
// command line, one row a command, stand in command_rows.cpp.

struct CheckOptions {
  /// Either may be "-" for standard input.
  std::string server_file = kServerFile;
  std::string host_map_file = kHostMapFile;
  /// Warnings make the exit status kNo too.
  bool strict = false;
  /// For use before a start, as the proxy's user: only what keeps the proxy from serving anybody,
  /// or makes queries circle, counts in the exit status.
  bool start = false;
  bool json = false;
};

/// Reads both files as the proxy does and reports everything in them that will not do what its
/// author meant. kOk, kNo or kError.
int RunCheck(const CheckOptions& options);

/// How many findings `RunCheck` would print for the proxy's own two files, and what is in them.
struct CheckVerdict {
  std::size_t errors;
  std::size_t warnings;
  ServerList servers;
  std::size_t host_map_entries;
};
CheckVerdict CheckQuietly();

inline constexpr int kUsualTimeoutMs = 1000;

struct ProbeOptions {
  int timeout_ms = kUsualTimeoutMs;
  /// Ask each configured server directly, all of them at once, instead of the proxy.
  bool upstreams = false;
};

/// kOk when the proxy, or every server, answers; otherwise kNo, and kError when the server file
/// can't be read.
int RunProbe(const ProbeOptions& options);

struct TraceOptions {
  /// "-" for standard input.
  std::string path = "-";
  /// Wait for more at the end of the file.
  bool follow = false;
  bool json = false;
};

/// Reads a trace and prints what it tells. kOk, kNo when no line of it is the proxy's, kError when
/// it can't be read, kUsage when it would have to be typed at a terminal.
int RunTrace(const TraceOptions& options);

/// Looks at the proxy five times a second, only in the tables of processes and sockets. When its
/// query thread has ended, it says so in one line on standard output and ends the proxy with
/// SIGTERM. What started the proxy starts it again. Returns only when it may not end the proxy,
/// with kNo.
int RunWatch();

struct GuardOptions {
  int pid = 0;  ///< the proxy's process; 0 for the one that holds the port
  /// Take the filters away again.
  bool remove = false;
};

/// Puts a filter on each of the proxy's two sockets, which keeps out what would end its intake or
/// its relay; waits for a proxy that is being started. Prints nothing and returns kOk when it is
/// done. kNo when there is no proxy, or the system refuses or has no such filters.
int RunGuard(const GuardOptions& options);

struct OnOptions {
  /// Do not turn the host on, but watch over the proxy while the host is on: turn it off when the
  /// proxy stays away, and on when it is back. Returns when the host is no longer to be on.
  bool keep = false;
};

/// Has the host ask the proxy, if the proxy answers. kOk when it does; kNo when it is better not
/// done; kError when a file can't be changed, which leaves all as it was.
int RunOn(const OnOptions& options);
/// Puts back what `RunOn` has changed. kOk when all is as it was, otherwise kError.
int RunOff();

struct UpstreamOptions {
  bool json = false;
};

/// Tells how each server behind dns_proxy_upstream is. kOk when at least one is alive and none is
/// silent; kNo otherwise, and when the program does not run.
int RunUpstream(const UpstreamOptions& options);

/// The same in a few words; empty when the program does not run.
std::string UpstreamsInWords();

struct StatusOptions {
  bool json = false;
};

/// Prints in a dozen lines how the proxy and its servers are. kOk when nothing keeps questions from
/// being answered, otherwise kNo.
int RunStatus(const StatusOptions& options);

// The commands on names. Each prints what it did and returns the exit status: kOk, kNo when there
// is no such name or list, kError when a file can't be read or written, or the host map had to be
// left as it is, kUsage for a name or address that could never work.

/// Makes the host map from the people's names, as `watch` does on a change.
int RunNameApply();
/// Gives a name an address in `names`, in the place where it stands or at the end.
int RunNameAdd(const std::string& written, const std::string& address);
/// Takes a name out of `names`.
int RunNameRemove(const std::string& written);
/// Prints the names that hold `part`, with their addresses and where they stand.
int RunNameList(const std::string& part);
/// Tells what the proxy does with a name, and why; asks it when it runs.
int RunNameExplain(const std::string& written);
/// Copies a host map that was written by hand into `names`.
int RunNameImport();

/// Adds a list of names to `names.d`, all with the address `address`.
int RunListAdd(const std::string& file, const std::string& address);
/// Removes a list by its name.
int RunListRemove(const std::string& name);
/// Prints the lists and how many of their names are in use.
int RunListShow();

}  // namespace ctl
