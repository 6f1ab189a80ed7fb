#include "companion/check/report.h"

#include <utility>

#include "common/output/output.h"
#include "common/output/shown_text.h"

namespace ctl {
namespace {

const char* Word(Severity severity) { return severity == Severity::kError ? "error" : "warning"; }

}  // namespace

Report::Report(Form form) : form_(form) {
  if (form_ == Form::kJson) json_.Object().Key("findings").Array();
}

void Report::Add(const Finding& finding) {
  ++(finding.severity == Severity::kError ? errors_ : warnings_);
  if (form_ == Form::kJson) PrintJson(finding);
  if (form_ == Form::kText) PrintText(finding);
}

void Report::Error(std::size_t line, std::string what, std::string effect) {
  Add({line, Severity::kError, std::move(what), std::move(effect)});
}

void Report::Warning(std::size_t line, std::string what, std::string effect) {
  Add({line, Severity::kWarning, std::move(what), std::move(effect)});
}

void Report::PrintText(const Finding& finding) const {
  Print(Shown(path_) + ':' + std::to_string(finding.line) + ": " + Word(finding.severity) + ": " +
        finding.what + " -> " + finding.effect + '\n');
}

void Report::PrintJson(const Finding& finding) {
  json_.Object().Key("file").Text(Shown(path_)).Key("line").Number(finding.line);
  json_.Key("severity").Text(Word(finding.severity));
  json_.Key("what").Text(finding.what).Key("effect").Text(finding.effect).EndObject();
  Print(json_.Take());
}

void Report::Finish(std::size_t servers, std::size_t host_map_entries) {
  if (form_ == Form::kJson) {
    json_.EndArray()
        .Key("servers")
        .Number(servers)
        .Key("host_map_entries")
        .Number(host_map_entries);
    json_.Key("errors").Number(errors_).Key("warnings").Number(warnings_).EndObject();
    Print(json_.Take() + '\n');
  }
  if (form_ == Form::kText) {
    Print(Counted(servers, "server") + ", " +
          Counted(host_map_entries, "host map entry", "host map entries") + ": " +
          CountsInWords(errors_, warnings_) + '\n');
  }
}

std::string CountsInWords(std::size_t errors, std::size_t warnings) {
  if (errors + warnings == 0) return "nothing to report";
  std::string words;
  if (errors > 0) words = Counted(errors, "error");
  if (errors > 0 && warnings > 0) words += ", ";
  if (warnings > 0) words += Counted(warnings, "warning");
  return words;
}

}  // namespace ctl
