#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include "common/configuration/configuration_text.h"
#include "common/configuration/findings.h"
#include "common/output/exit_status.h"
#include "common/output/output.h"
#include "common/platform/user_access.h"
#include "common/upstream/places.h"
#include "common/upstream/server_list.h"
#include "common/upstream/text_lines.h"
#include "companion/commands.h"

namespace ctl {
namespace {

constexpr char kStandardInput[] = "-";

// A file to check, at a path where it can be read twice: for that time, standard input is copied
// into a file of its own.
class Input {
 public:
  explicit Input(const std::string& named) : shown_(named), path_(named) {
    if (named == kStandardInput) Keep();
  }
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;
  ~Input() {
    if (descriptor_ < 0) return;
    close(descriptor_);
    unlink(path_.c_str());
  }
  // What to call it.
  const std::string& shown() const { return shown_; }
  const std::string& path() const { return path_; }

 private:
  void Keep() {
    shown_ = "standard input";
    const char* folder = std::getenv("TMPDIR");
    path_ = std::string(folder == nullptr ? "/tmp" : folder) + "/dns_proxy_ctl.XXXXXX";
    descriptor_ = mkstemp(path_.data());
    if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), path_);
    char piece[65536];
    for (;;) {
      const ssize_t got = read(STDIN_FILENO, piece, sizeof(piece));
      if (got == 0) return;
      if (got < 0 || write(descriptor_, piece, static_cast<std::size_t>(got)) != got) {
        throw std::system_error(errno, std::generic_category(), "standard input can't be kept");
      }
    }
  }

  std::string shown_;
  std::string path_;
  int descriptor_ = -1;
};

struct Files {
  ServerFileText servers;
  HostMapFileText host_map;
};

std::string Effect(Access access) {
  switch (access) {
    case Access::kRead:
      break;
    case Access::kMissing:
    case Access::kDirectory:
      return "the proxy takes it for an empty file";
    case Access::kNotAFile:
      return "the proxy waits at its start until it has read the end of it";
    case Access::kRefused:
      return "a proxy that may not read it either takes it for an empty file";
    case Access::kNotText:
      return "the proxy takes every line of it for an entry";
    case Access::kChanging:
      return "the proxy would read half of a change";
  }
  return "";
}

// Root can read whatever there is; the service runs as another user.
void CheckServiceUser(const std::string& path, Report& report) {
  const auto obstacle = WhatKeepsFromReading(kServiceUser, path);
  if (!obstacle) return;
  report.Error(0,
               std::string(kServiceUser) + ", the user of the service, may not " +
                   (obstacle->is_folder ? "pass " + obstacle->path : "read it"),
               "the service takes it for an empty file");
}

// A file that is missing from its usual place is not an error; a missing file that somebody named
// is.
void CheckAccess(const FileText& text, const std::string& path, bool is_usual_place,
                 Report& report) {
  if (is_usual_place) CheckServiceUser(path, report);
  if (text.access == Access::kRead) return;
  if (text.access == Access::kMissing && is_usual_place) return;
  const bool keeps_from_starting = text.access == Access::kNotAFile;
  report.Add({0, Severity::kError, text.reason, Effect(text.access), keeps_from_starting});
}

// Whether it is known how many entries the proxy makes of the file. If this process runs as the
// proxy's user, a file that it may not read is empty to the proxy.
bool IsKnown(const FileText& text, bool as_proxys_user) {
  return IsReadByProxy(text) || (as_proxys_user && text.access == Access::kRefused);
}

// Whether the list leads to dns_proxy_upstream.
bool AsksUpstream(const ServerList& servers) {
  return std::any_of(servers.begin(), servers.end(), [](const std::string& server) {
    return std::find(std::begin(upstream::kListenAddresses), std::end(upstream::kListenAddresses),
                     server) != std::end(upstream::kListenAddresses);
  });
}

// Warnings, since none of it keeps the proxy from serving.
void CheckUpstreamServers(Report& report) {
  report.BeginFile(upstream::kServersFile);
  const auto text = upstream::ReadFile(upstream::kServersFile);
  if (!text) {
    report.Warning(0, "it can't be read", "dns_proxy_upstream asks the servers of the network");
    return;
  }
  std::string complaint = upstream::ReadServerList(*text).complaint;
  if (complaint.empty()) return;
  complaint.pop_back();  // its full stop
  report.Warning(0, complaint, "dns_proxy_upstream keeps to the servers that it had");
}

void Check(const CheckOptions& options, Files& files, Report& report) {
  SilenceTrace();
  const Input server_file(options.server_file);
  const Input host_map_file(options.host_map_file);
  ReadServers(server_file.path(), files.servers);
  ReadHostMap(host_map_file.path(), files.host_map);
  const MethodList list{files.servers.servers.size(), !files.host_map.entries.empty()};

  report.BeginFile(server_file.shown());
  CheckAccess(files.servers.text, server_file.path(), options.server_file == kServerFile, report);
  if (IsKnown(files.servers.text, options.start) && IsKnown(files.host_map.text, options.start)) {
    CheckMethodList(list, report);
  }
  if (files.servers.text.access == Access::kRead) CheckServers(files.servers, report);

  report.BeginFile(host_map_file.shown());
  CheckAccess(files.host_map.text, host_map_file.path(), options.host_map_file == kHostMapFile,
              report);
  if (files.host_map.text.access == Access::kRead) CheckHostMap(files.host_map, list, report);
  if (AsksUpstream(files.servers.servers)) CheckUpstreamServers(report);
  report.Finish(files.servers.servers.size(), files.host_map.entries.size());
}

}  // namespace

int RunCheck(const CheckOptions& options) {
  if (options.server_file == kStandardInput && options.host_map_file == kStandardInput) {
    Complain("Only one of the two files can be standard input.");
    return kUsage;
  }
  Files files;
  const Report::Form text = options.start ? Report::Form::kTextForStart : Report::Form::kText;
  Report report(options.json ? Report::Form::kJson : text);
  Check(options, files, report);
  if (options.start) return report.obstacles() > 0 ? kError : kOk;
  if (report.errors() > 0) return kError;
  return options.strict && report.warnings() > 0 ? kNo : kOk;
}

CheckVerdict CheckQuietly() {
  Files files;
  Report report(Report::Form::kCountsOnly);
  Check(CheckOptions{}, files, report);
  return {report.errors(), report.warnings(), files.servers.servers, files.host_map.entries.size()};
}

}  // namespace ctl
