#include "common/configuration/name_text.h"

#include <algorithm>
#include <utility>

#include "common/configuration/address_text.h"
#include "common/output/shown_text.h"
#include "dns_proxy_mac/engine/dns_message.h"

namespace ctl {
namespace {

constexpr char kReverseMark[] = ".in-addr.arpa";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// RFC 1035 section 2.3.4: 255 bytes on the wire are 253 characters of text.
constexpr std::size_t kLongestName = 253;
constexpr std::size_t kLongestLabel = 63;
// A length byte above this reads as a negative number and ends the decoding.
constexpr std::size_t kLongestDecodedLabel = 127;

bool IsUpper(char character) { return character >= 'A' && character <= 'Z'; }

bool IsHostCharacter(char character) {
  return (character >= 'a' && character <= 'z') || (character >= '0' && character <= '9') ||
         character == '-' || character == '_' || character == '.';
}

bool Any(std::string_view name, bool (*check)(char)) {
  return std::any_of(name.begin(), name.end(), check);
}

bool IsBeyondAscii(char character) { return static_cast<unsigned char>(character) >= 0x80; }

bool StartsWith(std::string_view name, std::string_view start) {
  return name.substr(0, start.size()) == start;
}

bool IsComment(std::string_view name) {
  return name.front() == '#' || name.front() == ';' || StartsWith(name, "//");
}

std::string_view WithoutBlanksAround(std::string_view name) {
  while (!name.empty() && IsWhiteSpace(name.front())) name.remove_prefix(1);
  return name.substr(0, std::min(name.find_first_of(" \t\v\f\r"), name.size()));
}

std::size_t LongestLabelOf(std::string_view name) {
  std::size_t longest = 0;
  std::size_t begin = 0;
  while (begin <= name.size()) {
    const std::size_t end = std::min(name.find('.', begin), name.size());
    longest = std::max(longest, end - begin);
    begin = end + 1;
  }
  return longest;
}

std::string NotFoundBy(std::string_view question) {
  return "a question for " + Quoted(question) + " does not find it";
}

NameReading NotAsked(std::string what, std::string effect) {
  return {Reach::kNotAsked, true, std::move(what), std::move(effect)};
}

NameReading Never(std::string what, std::string effect) {
  return {Reach::kNever, true, std::move(what), std::move(effect)};
}

NameReading ReadOddCharacters(std::string_view name) {
  const std::string quoted = Quoted(name);
  if (Any(name, IsUpper)) {
    return Never(quoted + " has upper-case letters",
                 "never found: names asked for are compared in lower case");
  }
  if (StartsWith(name, kByteOrderMark)) {
    return NotAsked(quoted + " begins with a byte order mark",
                    NotFoundBy(name.substr(kByteOrderMark.size())));
  }
  if (Any(name, IsWhiteSpace)) {
    return NotAsked(quoted + " has blanks, and they belong to the name",
                    NotFoundBy(WithoutBlanksAround(name)));
  }
  if (StartsWith(name, "*.")) {
    return NotAsked(quoted + " is a wildcard, and there are none",
                    NotFoundBy("host" + std::string(name.substr(1))));
  }
  if (Any(name, IsBeyondAscii)) {
    return NotAsked(quoted + " has characters beyond ASCII",
                    "found only by a question of these same bytes; programs ask for the form that "
                    "begins with xn--");
  }
  return NotAsked(quoted + " has characters that no host name has",
                  "found only by a question of these same characters");
}

NameReading ReadDots(std::string_view name) {
  const std::string quoted = Quoted(name);
  if (name.back() == '.') {
    return NotAsked(quoted + " ends in a dot", NotFoundBy(name.substr(0, name.size() - 1)));
  }
  if (name.front() == '.') {
    return NotAsked(quoted + " begins with a dot", NotFoundBy(name.substr(1)));
  }
  return NotAsked(quoted + " has two dots in a row", "found by no question of ordinary labels");
}

NameReading ReadLengths(std::string_view name, std::size_t longest_label) {
  if (name.size() > kNameCapacity) {
    return Never(Quoted(name) + " has " + Counted(name.size(), "character"),
                 "never found: a name is decoded into " + std::to_string(kNameCapacity) + " bytes");
  }
  if (longest_label > kLongestDecodedLabel) {
    return Never(Quoted(name) + " has a label of " + Counted(longest_label, "character"),
                 "never found: the decoding of a name ends at such a label");
  }
  if (name.size() > kLongestName) {
    return NotAsked(Quoted(name) + " has " + Counted(name.size(), "character"),
                    "found, but no program asks for a name of more than 253");
  }
  return NotAsked(Quoted(name) + " has a label of " + Counted(longest_label, "character"),
                  "found, but no program asks for a label of more than 63");
}

NameReading ReadNoName(std::string_view name) {
  constexpr char kJustFiled[] = "the line is an entry for a name of this text";
  if (name.empty()) {
    return {Reach::kNever, false, "an empty name", "never found: an empty name can't be asked"};
  }
  if (WithoutBlanksAround(name).empty()) {
    return {Reach::kNotAsked, false, "a name of blanks alone", kJustFiled};
  }
  return {Reach::kNotAsked, false, Quoted(name) + " looks like a comment, and the file has none",
          kJustFiled};
}

}  // namespace

NameReading ReadName(std::string_view name, bool reverse_names_come_by) {
  if (WithoutBlanksAround(name).empty() || IsComment(name)) return ReadNoName(name);
  if (!std::all_of(name.begin(), name.end(), IsHostCharacter)) return ReadOddCharacters(name);
  if (name.front() == '.' || name.back() == '.' || name.find("..") != std::string_view::npos) {
    return ReadDots(name);
  }
  const std::size_t longest_label = LongestLabelOf(name);
  if (name.size() > kLongestName || longest_label > kLongestLabel) {
    return ReadLengths(name, longest_label);
  }
  if (!reverse_names_come_by && name.find(kReverseMark) != std::string_view::npos) {
    return NotAsked(Quoted(name) + " is a reverse name",
                    "asked in lower case, it is not looked up in the host map");
  }
  return {};
}

}  // namespace ctl
