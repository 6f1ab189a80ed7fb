#include "companion/names/names_line.h"

#include <arpa/inet.h>

#include <algorithm>

#include "common/output/shown_text.h"

namespace ctl {
namespace {

bool IsBlank(char character) { return character == ' ' || character == '\t' || character == '\r'; }

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

// A scope behind a percent sign belongs to the address: fe80::1%lo0.
bool IsAddress(int family, std::string_view text) {
  char buffer[INET6_ADDRSTRLEN + 1];
  in6_addr address;
  if (family == AF_INET6) text = text.substr(0, text.find('%'));
  if (text.empty() || text.size() >= sizeof(buffer)) return false;
  text.copy(buffer, text.size());
  buffer[text.size()] = 0;
  return inet_pton(family, buffer, &address) == 1;
}

// `mail.example:10.0.0.1`; a blank behind the colon is forgiven.
void ReadMapStyle(NamesLine& line, std::vector<std::string_view>& words) {
  const std::size_t colon = words[0].find(':');
  const std::string_view name = words[0].substr(0, colon);
  std::string_view address = words[0].substr(colon + 1);
  std::size_t used = 1;
  if (address.empty() && words.size() > 1) {
    address = words[1];
    used = 2;
  }
  if (name.empty()) {
    line.problem = "there is no name in front of the colon";
  } else if (IsIpv6Text(address)) {
    line.problem = Quoted(address) + " is an IPv6 address, the host map has none";
  } else if (!IsIpv4Text(address)) {
    line.problem = Quoted(address) + " is no IPv4 address";
  } else if (words.size() > used) {
    line.problem = "there is more behind the address: " + Quoted(words[used]);
  } else {
    line.address = address;
    line.names.assign(1, name);
  }
}

void ReadNeitherStyle(NamesLine& line, const std::vector<std::string_view>& words) {
  const std::size_t between = words[0].find_first_of("=,");
  if (words.size() == 2 && IsIpv4Text(words[1])) {
    line.problem =
        "the address comes first: " + Quoted(std::string(words[1]) + " " + std::string(words[0]));
  } else if (between != std::string_view::npos && IsIpv4Text(words[0].substr(between + 1))) {
    line.problem = "a colon parts a name from its address: " +
                   Quoted(std::string(words[0].substr(0, between)) + ":" +
                          std::string(words[0].substr(between + 1)));
  } else {
    line.problem = "there is no IPv4 address in " + Quoted(words[0]);
  }
}

}  // namespace

bool IsIpv4Text(std::string_view text) { return IsAddress(AF_INET, text); }

bool IsIpv6Text(std::string_view text) { return IsAddress(AF_INET6, text); }

std::string_view WithoutComment(std::string_view line) {
  return Trimmed(line.substr(0, line.find('#')));
}

void SplitWords(std::string_view text, std::vector<std::string_view>& words) {
  words.clear();
  for (text = Trimmed(text); !text.empty(); text = Trimmed(text)) {
    const auto end =
        static_cast<std::size_t>(std::find_if(text.begin(), text.end(), IsBlank) - text.begin());
    words.push_back(text.substr(0, end));
    text.remove_prefix(end);
  }
}

void ReadNamesLine(std::string_view line, NamesLine& result) {
  thread_local std::vector<std::string_view> words;
  result.address = {};
  result.names.clear();
  result.problem.clear();
  SplitWords(WithoutComment(line), words);
  if (words.empty()) return;
  if (IsIpv4Text(words[0])) {
    if (words.size() == 1) {
      result.problem = "there is no name behind the address";
      return;
    }
    result.address = words[0];
    result.names.assign(words.begin() + 1, words.end());
  } else if (IsIpv6Text(words[0])) {
    result.problem = Quoted(words[0]) + " is an IPv6 address, the host map has none";
  } else if (words[0].find(':') != std::string_view::npos) {
    ReadMapStyle(result, words);
  } else {
    ReadNeitherStyle(result, words);
  }
}

}  // namespace ctl
