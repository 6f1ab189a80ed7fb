#include "common/configuration/configuration_text.h"
#include "common/configuration/findings.h"
#include "common/output/exit_status.h"
#include "companion/commands.h"

namespace ctl {
namespace {

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

// A file that is missing from its usual place is no mistake; one that somebody named is.
void CheckAccess(const FileText& text, bool is_usual_place, Report& report) {
  if (text.access == Access::kRead) return;
  if (text.access == Access::kMissing && is_usual_place) return;
  report.Error(0, text.reason, Effect(text.access));
}

void Check(const CheckOptions& options, Files& files, Report& report) {
  SilenceTrace();
  ReadServers(options.server_file, files.servers);
  ReadHostMap(options.host_map_file, files.host_map);
  const MethodList list{files.servers.servers.size(), !files.host_map.entries.empty()};

  report.BeginFile(options.server_file);
  CheckAccess(files.servers.text, options.server_file == kServerFile, report);
  if (IsReadByProxy(files.servers.text) && IsReadByProxy(files.host_map.text))
    CheckMethodList(list, report);
  if (files.servers.text.access == Access::kRead) {
    CheckServers(files.servers, report);
  }

  report.BeginFile(options.host_map_file);
  CheckAccess(files.host_map.text, options.host_map_file == kHostMapFile, report);
  if (files.host_map.text.access == Access::kRead) {
    CheckHostMap(files.host_map, list, report);
  }
  report.Finish(files.servers.servers.size(), files.host_map.entries.size());
}

}  // namespace

int RunCheck(const CheckOptions& options) {
  Files files;
  Report report(options.json ? Report::Form::kJson : Report::Form::kText);
  Check(options, files, report);
  if (report.errors() > 0) return kError;
  return options.strict && report.warnings() > 0 ? kNo : kOk;
}

CheckVerdict CheckQuietly() {
  Files files;
  Report report(Report::Form::kCountsOnly);
  Check(CheckOptions{}, files, report);
  return {report.errors(), report.warnings(), files.servers.servers.size(),
          files.host_map.entries.size()};
}

}  // namespace ctl
