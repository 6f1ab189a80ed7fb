#include "common/trace/line_pattern.h"

#include <algorithm>
#include <charconv>

namespace ctl {
namespace {

bool TakeNumber(std::string_view& text, Event& event) {
  if (event.number_count == event.numbers.size()) return false;
  std::int64_t number = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  if (result.ec != std::errc()) return false;
  event.numbers[event.number_count++] = number;
  text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()));
  return true;
}

std::string_view& TextField(char kind, Event& event) {
  if (kind == 'a') return event.address;
  return kind == 'e' ? event.expected : event.name;
}

// `rest` is the pattern behind the field.
bool TakeText(char kind, std::string_view rest, std::string_view& text, Event& event) {
  const std::string_view following = rest.substr(0, std::min(rest.find('%'), rest.size()));
  std::size_t end = text.size();
  if (!following.empty()) end = kind == 'n' ? text.rfind(following) : text.find(following);
  if (end == std::string_view::npos) return false;
  TextField(kind, event) = text.substr(0, end);
  text.remove_prefix(end);
  return true;
}

}  // namespace

bool MatchLine(std::string_view text, std::string_view pattern, Event& event) {
  for (;;) {
    const std::size_t plain = std::min(pattern.find('%'), pattern.size());
    if (text.substr(0, plain) != pattern.substr(0, plain)) return false;
    text.remove_prefix(plain);
    if (plain == pattern.size()) return text.empty();
    const char kind = pattern[plain + 1];
    pattern.remove_prefix(plain + 2);
    const bool taken = kind == 'd' ? TakeNumber(text, event) : TakeText(kind, pattern, text, event);
    if (!taken) return false;
  }
}

}  // namespace ctl
