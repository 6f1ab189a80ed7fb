#include "common/configuration/findings.h"

#include <algorithm>
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
  if (finding.keeps_from_starting) ++obstacles_;
  if (form_ == Form::kJson) PrintJson(finding);
  if (form_ == Form::kText || (form_ == Form::kTextForStart && !finding.keeps_from_starting)) {
    Print(TextOf(finding));
  } else if (form_ == Form::kTextForStart) {
    last_lines_ += TextOf(finding);
  }
}

void Report::Error(std::size_t line, std::string what, std::string effect) {
  Add({line, Severity::kError, std::move(what), std::move(effect)});
}

void Report::Warning(std::size_t line, std::string what, std::string effect) {
  Add({line, Severity::kWarning, std::move(what), std::move(effect)});
}

void Report::Obstacle(std::size_t line, std::string what, std::string effect) {
  Add({line, Severity::kError, std::move(what), std::move(effect), true});
}

std::string Report::TextOf(const Finding& finding) const {
  return Shown(path_) + ':' + std::to_string(finding.line) + ": " + Word(finding.severity) + ": " +
         finding.what + " -> " + finding.effect + '\n';
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
    json_.Key("errors").Number(errors_).Key("warnings").Number(warnings_);
    json_.Key("obstacles").Number(obstacles_).EndObject();
    Print(json_.Take() + '\n');
  }
  if (form_ == Form::kText || form_ == Form::kTextForStart) {
    Print(last_lines_ + Counted(servers, "server") + ", " +
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

CarriageReturns::CarriageReturns(const FileText& text) {
  if (text.lines.size() == 1) {
    const std::size_t first = std::min(text.lines[0].find('\r'), text.lines[0].size());
    are_only_line_ends_ = text.lines[0].find_first_not_of('\r', first) != std::string_view::npos;
  }
  for (std::size_t at = 0; at < text.lines.size(); ++at) {
    const std::string_view line = text.lines[at];
    if (line.empty() || line.back() != '\r') continue;
    if (count_++ == 0) first_line_ = at + 1;
  }
}

bool CarriageReturns::EndEveryLine(Report& report) const {
  if (are_only_line_ends_) {
    report.Error(1, "carriage returns alone end the lines, as on an old Mac",
                 "the whole file is one line");
  }
  return are_only_line_ends_;
}

void CarriageReturns::Check(std::size_t line, Report& report) const {
  if (count_ == 0 || line != first_line_) return;
  report.Warning(line,
                 count_ == 1
                     ? "a carriage return ends the line"
                     : "a carriage return ends this and " + Counted(count_ - 1, "more line"),
                 "it stays a part of the line; an address in front of it is taken all the same");
}

}  // namespace ctl
