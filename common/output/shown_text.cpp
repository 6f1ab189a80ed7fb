#include "common/output/shown_text.h"

namespace ctl {
namespace {

constexpr std::size_t kLongestQuoted = 80;
constexpr std::size_t kQuotedHead = 60;
constexpr std::size_t kQuotedTail = 15;

bool IsPlain(char character) { return character >= ' ' && character <= '~'; }

bool IsDigit(char character) { return character >= '0' && character <= '9'; }

void AppendNumber(char character, std::string& out) {
  const auto byte = static_cast<unsigned char>(character);
  out += '\\';
  out += static_cast<char>('0' + byte / 100);
  out += static_cast<char>('0' + byte / 10 % 10);
  out += static_cast<char>('0' + byte % 10);
}

std::string WithEscapes(std::string_view text, std::string_view escaped) {
  std::string out;
  out.reserve(text.size());
  bool ends_in_number = false;
  for (const char character : text) {
    const bool is_number = !IsPlain(character) || (ends_in_number && IsDigit(character));
    if (is_number) {
      AppendNumber(character, out);
    } else {
      if (escaped.find(character) != std::string_view::npos) out += '\\';
      out += character;
    }
    ends_in_number = is_number;
  }
  return out;
}

std::string InQuotes(std::string_view text) { return WithEscapes(text, "\\\""); }

}  // namespace

std::string Shown(std::string_view text) { return WithEscapes(text, "\\"); }

std::string Quoted(std::string_view text) {
  std::string out = "\"";
  if (text.size() <= kLongestQuoted) {
    out += InQuotes(text);
  } else {
    out += InQuotes(text.substr(0, kQuotedHead)) + "..." +
           InQuotes(text.substr(text.size() - kQuotedTail));
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
