#include "common/output/shown_text.h"

namespace ctl {
namespace {

constexpr std::size_t kLongestQuoted = 80;
constexpr std::size_t kQuotedHead = 60;
constexpr std::size_t kQuotedTail = 15;

bool IsPlain(char character) { return character >= ' ' && character <= '~' && character != '\\'; }

void AppendShown(char character, std::string& out) {
  if (IsPlain(character)) {
    out += character;
    return;
  }
  out += '\\';
  if (character == '\\') {
    out += '\\';
    return;
  }
  const auto byte = static_cast<unsigned char>(character);
  out += static_cast<char>('0' + byte / 100);
  out += static_cast<char>('0' + byte / 10 % 10);
  out += static_cast<char>('0' + byte % 10);
}

}  // namespace

std::string Shown(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (const char character : text) AppendShown(character, out);
  return out;
}

std::string Quoted(std::string_view text) {
  std::string out = "\"";
  if (text.size() <= kLongestQuoted) {
    out += Shown(text);
  } else {
    out +=
        Shown(text.substr(0, kQuotedHead)) + "..." + Shown(text.substr(text.size() - kQuotedTail));
  }
  return out + '"';
}

std::string Grouped(std::uint64_t count) {
  std::string digits = std::to_string(count);
  for (std::size_t at = digits.size(); at > 3; at -= 3) digits.insert(at - 3, 1, ',');
  return digits;
}

std::string Counted(std::uint64_t count, std::string_view one, std::string_view several) {
  return Grouped(count) + ' ' + std::string(count == 1 ? one : several);
}

std::string Counted(std::uint64_t count, std::string_view one) {
  return Counted(count, one, std::string(one) + 's');
}

}  // namespace ctl
