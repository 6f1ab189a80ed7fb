#include <CLI/CLI.hpp>

#include "companion/command_line.h"
#include "companion/commands.h"

namespace ctl {
namespace {

struct Words {
  std::string name;
  std::string address;
};

// A sub-command of `command`. When it is the one on the command line, its work is put into
// `asked_for`.
CLI::App& AddPart(CLI::App& command, Work& asked_for, const char* name, const char* summary,
                  Work work) {
  CLI::App* part = command.add_subcommand(name, summary);
  part->callback([&asked_for, work = std::move(work)] { asked_for = work; });
  return *part;
}

CLI::Option& AddWord(CLI::App& part, const char* name, std::string& word, const char* what) {
  return *part.add_option(name, word, what)->required()->option_text(" ");
}

}  // namespace

Work DescribeName(CLI::App& command) {
  static Words words;
  static Work asked_for;
  command.require_subcommand(1);
  command.footer(
      "The names stand in /var/log/Varnok/names, as in a hosts file or as NAME:ADDRESS,\n"
      "with comments. The host map is made from them and from the lists.\n\n"
      "Exit status: 0 when done, 1 when there is no such name, 2 when a file can't be\n"
      "read or written, 64 for a name or address that could never work.");
  CLI::App& add = AddPart(command, asked_for, "add", "Give a name an address",
                          [] { return RunNameAdd(words.name, words.address); });
  AddWord(add, "NAME", words.name, "The name, in any case; international ones too");
  AddWord(add, "ADDRESS", words.address, "Its IPv4 address");
  CLI::App& remove = AddPart(command, asked_for, "remove", "Take a name out",
                             [] { return RunNameRemove(words.name); });
  AddWord(remove, "NAME", words.name, "The name");
  CLI::App& list = AddPart(command, asked_for, "list", "Print the names, those of lists too",
                           [] { return RunNameList(words.name); });
  list.add_option("PART", words.name, "Only names that hold this")->option_text(" ");
  CLI::App& explain = AddPart(command, asked_for, "explain", "Tell what the proxy does with a name",
                              [] { return RunNameExplain(words.name); });
  AddWord(explain, "NAME", words.name, "The name");
  AddPart(command, asked_for, "apply", "Make the host map from the names now", RunNameApply);
  AddPart(command, asked_for, "import", "Take a host map written by hand over into the names",
          RunNameImport);
  return [] { return asked_for(); };
}

Work DescribeList(CLI::App& command) {
  static Words words{"", "0.0.0.0"};
  static Work asked_for;
  command.require_subcommand(1);
  command.footer(
      "Lists lie in /var/log/Varnok/names.d. Names that stand in the file\n"
      "/var/log/Varnok/never_listed, one a line, are left off every list.\n\n"
      "Exit status: 0 when done, 1 when there is no such list, 2 when a file can't be\n"
      "read or written, 64 for an address that is none.");
  CLI::App& add =
      AddPart(command, asked_for, "add", "Take in a list, again when it is there already",
              [] { return RunListAdd(words.name, words.address); });
  AddWord(add, "FILE", words.name, "A hosts file, or one domain a line");
  add.add_option("--as", words.address, "The address of all its names; 0.0.0.0 unless given")
      ->type_name("ADDRESS")
      ->option_text("ADDRESS");
  CLI::App& remove = AddPart(command, asked_for, "remove", "Remove a list",
                             [] { return RunListRemove(words.name); });
  AddWord(remove, "LIST", words.name, "Its name, which is that of the file taken in");
  AddPart(command, asked_for, "show", "Print the lists and how many of their names are in use",
          RunListShow);
  return [] { return asked_for(); };
}

}  // namespace ctl
