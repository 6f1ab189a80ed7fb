#include "companion/names/written_name.h"

#include <arpa/inet.h>

#include <algorithm>

#include "common/output/shown_text.h"

#ifdef HAVE_LIBIDN2
#include <idn2.h>
#endif

namespace ctl {
namespace {

constexpr std::size_t kLongestName = 1023;
constexpr std::size_t kLongestLabel = 127;
constexpr std::string_view kReverseMark = ".in-addr.arpa";

bool IsAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char character) { return static_cast<unsigned char>(character) < 0x80; });
}

// The usual characters of host names, upper-case letters already folded, and the underscore of
// service names.
bool IsNameCharacter(char character) {
  return (character >= 'a' && character <= 'z') || (character >= '0' && character <= '9') ||
         character == '-' || character == '_' || character == '.';
}

bool IsIpv4(const std::string& text) {
  in_addr address;
  return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

void FoldCase(std::string& name) {
  for (char& character : name) {
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character - 'A' + 'a');
  }
}

std::size_t LongestLabel(std::string_view name) {
  std::size_t longest = 0;
  for (std::size_t begin = 0; begin <= name.size();) {
    const std::size_t end = std::min(name.find('.', begin), name.size());
    longest = std::max(longest, end - begin);
    begin = end + 1;
  }
  return longest;
}

// What is wrong with a folded ASCII name; empty when nothing is.
std::string ProblemOf(const std::string& name) {
  if (name.empty()) return "an empty name can't be asked";
  if (name.find('*') != std::string::npos) return Quoted(name) + " is a wildcard, there are none";
  if (!std::all_of(name.begin(), name.end(), IsNameCharacter)) {
    return Quoted(name) + " has characters that no host name has";
  }
  if (IsIpv4(name)) return Quoted(name) + " is an address, not a name";
  if (name.front() == '.' || name.back() == '.' || name.find("..") != std::string::npos) {
    return Quoted(name) + " has an empty label";
  }
  if (name.find(kReverseMark) != std::string::npos) {
    return Quoted(name) + " is a reverse name, which the proxy never looks up in the host map";
  }
  if (name.size() > kLongestName) {
    return Quoted(name) + " has " + Counted(name.size(), "character") + ", 1,023 are decoded";
  }
  const std::size_t longest = LongestLabel(name);
  if (longest > kLongestLabel) {
    return Quoted(name) + " has a label of " + Counted(longest, "character") + ", 127 are decoded";
  }
  return "";
}

#ifdef HAVE_LIBIDN2
WrittenName InAscii(const std::string& written) {
  char* ascii = nullptr;
  const int result =
      idn2_to_ascii_8z(written.c_str(), &ascii, IDN2_NFC_INPUT | IDN2_NONTRANSITIONAL);
  if (result != IDN2_OK) {
    return {"", Quoted(written) + " is no international name: " + idn2_strerror(result)};
  }
  WrittenName name{ascii, ""};
  idn2_free(ascii);
  return name;
}
#else
WrittenName InAscii(const std::string& written) {
  return {"", Quoted(written) + " is an international name, for which this program lacks libidn2"};
}
#endif

}  // namespace

bool KnowsInternationalNames() {
#ifdef HAVE_LIBIDN2
  return true;
#else
  return false;
#endif
}

WrittenName ReadWrittenName(std::string_view written) {
  WrittenName result{std::string(written), ""};
  if (!IsAscii(written)) result = InAscii(result.name);
  if (!result.problem.empty()) return result;
  FoldCase(result.name);
  if (result.name.size() > 1 && result.name.back() == '.') result.name.pop_back();
  result.problem = ProblemOf(result.name);
  if (!result.problem.empty()) result.name.clear();
  return result;
}

}  // namespace ctl
