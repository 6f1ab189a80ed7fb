#include <cstring>

#include "common/configuration/made_host_map.h"
#include "common/output/exit_status.h"
#include "common/output/output.h"
#include "common/output/shown_text.h"
#include "companion/commands.h"
#include "companion/names/all_names.h"
#include "companion/names/host_map_making.h"
#include "companion/names/names_edit.h"
#include "companion/names/names_line.h"
#include "companion/names/written_name.h"

namespace ctl {
namespace {

// The name in its one form; complains about one that could never be asked.
bool TakeName(const std::string& written, std::string& name) {
  WrittenName read = ReadWrittenName(written);
  name = read.name;
  if (read.problem.empty()) return true;
  Complain("No such entry can work: " + read.problem + '.');
  return false;
}

bool TakeAddress(const std::string& address) {
  if (IsIpv4Text(address)) return true;
  Complain(IsIpv6Text(address) ? "The host map answers with IPv4 addresses only: " +
                                     Quoted(address) + " is an IPv6 address."
                               : Quoted(address) + " is no IPv4 address.");
  return false;
}

bool ReadNames(const std::string& path, std::string& text) {
  bool is_missing = false;
  const std::string problem = ReadTextFile(path, text, is_missing);
  if (problem.empty() || is_missing) return true;
  Complain(path + ": " + problem + '.');
  return false;
}

bool WriteNames(const std::string& path, const std::string& text) {
  const std::string problem = WriteTextFile(path, text);
  if (problem.empty()) return true;
  Complain(path + ": " + problem + '.');
  return false;
}

int Apply(bool may_take_over) {
  const NamesPlaces places;
  std::vector<std::string> sentences;
  const Renewal renewal = RenewHostMap(places, may_take_over, sentences);
  if (renewal == Renewal::kRefused) {
    Complain(sentences.back());
    sentences.pop_back();
  }
  for (const std::string& sentence : sentences) Print(sentence + '\n');
  if (renewal == Renewal::kWritten) Print(places.host_map + " is made again.\n");
  return renewal == Renewal::kRefused ? kError : kOk;
}

int WriteEdit(const NamesPlaces& places, const NamesEdit& edit, const std::string& done) {
  if (!WriteNames(places.names, edit.text)) return kError;
  Print(done + '\n');
  return Apply(false);
}

// The names, followed by the pairs of a host map: all of them, or, where there are names already,
// only those that differ.
std::string WithPairs(const std::string& names, std::string_view pairs) {
  if (names.empty()) return "# from hostmap\n" + std::string(pairs);
  std::string result = names;
  NamesLine pair;
  ForEachLine(pairs, [&](std::string_view line, std::size_t) {
    ReadNamesLine(line, pair);
    for (const std::string_view written : pair.names) {
      const WrittenName name = ReadWrittenName(written);
      if (!name.problem.empty()) continue;
      NamesEdit edit = AddName(result, name.name, std::string(pair.address));
      if (edit.has_changed) result = std::move(edit.text);
    }
  });
  return result;
}

}  // namespace

int RunNameApply() { return Apply(false); }

int RunNameAdd(const std::string& written, const std::string& address) {
  const NamesPlaces places;
  std::string name;
  std::string text;
  if (!TakeName(written, name) || !TakeAddress(address)) return kUsage;
  if (!ReadNames(places.names, text)) return kError;
  const NamesEdit edit = AddName(text, name, address);
  if (edit.has_changed) {
    return WriteEdit(places, edit, name + " has the address " + address + " now.");
  }
  Print(name + " has that address already, in line " + std::to_string(edit.line) + " of " +
        places.names + ".\n");
  return kOk;
}

int RunNameRemove(const std::string& written) {
  const NamesPlaces places;
  std::string name;
  std::string text;
  if (!TakeName(written, name)) return kUsage;
  if (!ReadNames(places.names, text)) return kError;
  const NamesEdit edit = RemoveName(text, name);
  if (edit.has_changed) return WriteEdit(places, edit, name + " is removed.");
  Complain(places.names + " has no " + name + '.');
  return kNo;
}

int RunNameList(const std::string& part) {
  const NamesPlaces places;
  const NamesRemarks names = ForEachName(places, [&part](const NamedAddress& named) {
    if (named.standing != Standing::kCounts) return;
    if (named.name.find(part) == std::string::npos) return;
    Print(named.name + ' ' + std::string(named.address) + ' ' + Shown(named.path) + ':' +
          std::to_string(named.line) + '\n');
  });
  if (names.problem.empty()) return kOk;
  Complain(names.problem + '.');
  return kError;
}

int RunNameImport() {
  const NamesPlaces places;
  std::string host_map;
  std::string names;
  bool is_missing = false;
  const std::string problem = ReadTextFile(places.host_map, host_map, is_missing);
  if (!problem.empty()) {
    Complain(places.host_map + ": " + problem + '.');
    return kError;
  }
  if (AuthorOf(host_map) == HostMapAuthor::kUs && TellsHowMade(host_map)) {
    Print(places.host_map + " is made from names already.\n");
    return kOk;
  }
  if (!ReadNames(places.names, names)) return kError;
  const std::string kept = places.host_map + ".before_names";
  if (!WriteNames(kept, host_map)) return kError;
  if (!WriteNames(places.names, WithPairs(names, PairsOf(host_map)))) return kError;
  Print("The lines of " + places.host_map + " stand in " + places.names + " now; " + kept +
        " is as it was.\n");
  return Apply(true);
}

}  // namespace ctl
