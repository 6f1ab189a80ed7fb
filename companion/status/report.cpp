#include "companion/status/report.h"

#include "common/output/exit_status.h"
#include "common/output/output.h"

namespace ctl {
namespace {

constexpr std::size_t kWidthOfSubjects = 13;

}  // namespace

StatusReport::StatusReport(bool json) : is_json_(json) {
  if (is_json_) json_.Object().Key("rows").Array();
}

void StatusReport::Add(std::string_view subject, const std::string& words, bool is_well) {
  is_well_ = is_well_ && is_well;
  if (is_json_) {
    json_.Object().Key("subject").Text(subject).Key("words").Text(words);
    json_.Key("well").Truth(is_well).EndObject();
    return;
  }
  std::string line(subject);
  line.resize(kWidthOfSubjects, ' ');
  Print(line + ' ' + words + '\n');
}

int StatusReport::Finish() {
  if (is_json_) {
    json_.EndArray().Key("well").Truth(is_well_).EndObject();
    Print(json_.Take() + '\n');
  }
  return is_well_ ? kOk : kNo;
}

}  // namespace ctl
