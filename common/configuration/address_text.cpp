#include "common/configuration/address_text.h"

#include <arpa/inet.h>

#include <algorithm>

#include "common/output/shown_text.h"

namespace ctl {
namespace {

constexpr char kWhiteSpace[] = " \t\n\v\f\r";

bool IsDigit(char character) { return character >= '0' && character <= '9'; }

bool IsUsualPart(std::string_view part) {
  if (part.empty() || part.size() > 3) return false;
  return (part.size() == 1 || part.front() != '0') &&
         std::all_of(part.begin(), part.end(), IsDigit);
}

template <typename Check>
bool AnyPart(std::string_view spelling, Check check) {
  for (;;) {
    const std::size_t dot = std::min(spelling.find('.'), spelling.size());
    if (check(spelling.substr(0, dot))) return true;
    if (dot == spelling.size()) return false;
    spelling.remove_prefix(dot + 1);
  }
}

bool IsHexadecimal(std::string_view part) {
  return part.size() > 1 && part[0] == '0' && (part[1] == 'x' || part[1] == 'X');
}

bool IsOctal(std::string_view part) {
  return part.size() > 1 && part[0] == '0' && !IsHexadecimal(part);
}

bool IsIpv6(const std::string& text) {
  in6_addr address;
  return inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

bool IsAddressWithPort(const std::string& text) {
  const std::size_t at = text.find_first_of(":#");
  if (at == std::string::npos || at + 1 == text.size()) return false;
  return std::all_of(text.begin() + static_cast<std::ptrdiff_t>(at) + 1, text.end(), IsDigit) &&
         inet_addr(text.substr(0, at).c_str()) != INADDR_NONE;
}

}  // namespace

bool IsWhiteSpace(char character) {
  return character != 0 && std::string_view(kWhiteSpace).find(character) != std::string_view::npos;
}

AddressReading ReadAddress(const std::string& text) {
  AddressReading reading;
  const std::string_view seen = text.c_str();
  reading.address.s_addr = inet_addr(text.c_str());
  reading.accepted = reading.address.s_addr != INADDR_NONE;
  reading.spelling = seen.substr(0, std::min(seen.find_first_of(kWhiteSpace), seen.size()));
  reading.behind = seen.substr(reading.spelling.size());
  return reading;
}

std::string AddressReading::Dotted() const {
  char dotted[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, &address, dotted, sizeof(dotted));
  return dotted;
}

bool AddressReading::IsUsualForm() const {
  return std::count(spelling.begin(), spelling.end(), '.') == 3 &&
         !AnyPart(spelling, [](std::string_view part) { return !IsUsualPart(part); });
}

bool AddressReading::HasMoreBehind() const { return !behind.empty() && behind != "\r"; }

std::string OddForm(std::string_view spelling) {
  std::string form;
  const auto add = [&form](const char* what) {
    form += (form.empty() ? "" : " and ") + std::string(what);
  };
  if (std::count(spelling.begin(), spelling.end(), '.') < 3) add("fewer than four parts");
  if (AnyPart(spelling, IsHexadecimal)) add("a hexadecimal part");
  if (AnyPart(spelling, IsOctal)) add("a part with a leading zero, which makes it octal");
  return form.empty() ? "an unusual form" : form;
}

std::string WhatItIsInstead(std::string_view text) {
  if (text.find_first_not_of(kWhiteSpace) == std::string_view::npos) return "there is no address";
  const std::string quoted = Quoted(text);
  if (IsWhiteSpace(text.front())) return quoted + " has a blank in front of the address";
  const std::string spelling(text.substr(0, text.find_first_of(kWhiteSpace)));
  if (IsIpv6(spelling)) return quoted + " is an IPv6 address";
  if (IsAddressWithPort(spelling)) return quoted + " is an address with a port";
  if (spelling == "255.255.255.255") return quoted + " is the all-ones address";
  return quoted + " is no dotted IPv4 address";
}

}  // namespace ctl
