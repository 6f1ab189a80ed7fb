#include "page/http/request.h"

#include <algorithm>
#include <cstdint>

namespace page {
namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kHeadEnd = "\r\n\r\n";
constexpr std::size_t kMostParameters = 16;

char Lower(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                              : character;
}

bool IsSame(std::string_view text, std::string_view lower) {
  return text.size() == lower.size() &&
         std::equal(text.begin(), text.end(), lower.begin(),
                    [](char left, char right) { return Lower(left) == right; });
}

bool IsTokenCharacter(char character) {
  constexpr std::string_view kMarks = "!#$%&'*+-.^_`|~";
  return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'z') ||
         (character >= 'A' && character <= 'Z') || kMarks.find(character) != std::string_view::npos;
}

bool IsToken(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), IsTokenCharacter);
}

// What may stand in a field's value: no control character but the tab.
bool IsFieldText(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte == '\t' || (byte >= ' ' && byte != 0x7F);
  });
}

std::string_view WithoutBlanks(std::string_view text) {
  const auto is_blank = [](char character) { return character == ' ' || character == '\t'; };
  while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
  return text;
}

int HexDigit(char character) {
  if (character >= '0' && character <= '9') return character - '0';
  const char lower = Lower(character);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

bool ReadParameters(std::string_view query, Request& request) {
  while (!query.empty()) {
    const std::size_t end = std::min(query.find('&'), query.size());
    const std::string_view pair = query.substr(0, end);
    query.remove_prefix(std::min(end + 1, query.size()));
    if (pair.empty()) continue;
    if (request.parameters.size() == kMostParameters) return false;
    const std::size_t equals = std::min(pair.find('='), pair.size());
    Request::Parameter parameter;
    if (!DecodePercent(pair.substr(0, equals), parameter.key)) return false;
    if (!DecodePercent(pair.substr(std::min(equals + 1, pair.size())), parameter.value)) {
      return false;
    }
    request.parameters.push_back(std::move(parameter));
  }
  return true;
}

bool ReadTarget(std::string_view target, Request& request) {
  if (target.empty() || target.front() != '/') return false;
  const bool is_visible = std::all_of(target.begin(), target.end(), [](char character) {
    return character > ' ' && character <= '~';
  });
  if (!is_visible) return false;
  const std::size_t mark = std::min(target.find('?'), target.size());
  if (!DecodePercent(target.substr(0, mark), request.path)) return false;
  return ReadParameters(target.substr(std::min(mark + 1, target.size())), request);
}

bool ReadRequestLine(std::string_view line, Request& request) {
  const std::size_t first = line.find(' ');
  const std::size_t last = line.rfind(' ');
  if (first == std::string_view::npos || first == last) return false;
  if (!IsToken(line.substr(0, first))) return false;
  request.method = line.substr(0, first);
  const std::string_view version = line.substr(last + 1);
  request.is_http_1_1 = version == "HTTP/1.1";
  if (!request.is_http_1_1 && version != "HTTP/1.0") return false;
  return ReadTarget(line.substr(first + 1, last - first - 1), request);
}

// A field that announces a body is refused, because nobody reads it.
bool AnnouncesBody(std::string_view name, std::string_view value) {
  if (IsSame(name, "transfer-encoding")) return true;
  return IsSame(name, "content-length") && value != "0";
}

bool ReadField(std::string_view line, bool& has_host, Request& request) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos) return false;
  const std::string_view name = line.substr(0, colon);
  const std::string_view value = WithoutBlanks(line.substr(colon + 1));
  if (!IsToken(name) || !IsFieldText(value) || AnnouncesBody(name, value)) return false;
  if (IsSame(name, "host")) {
    if (has_host) return false;
    has_host = true;
    request.host = value;
  } else if (IsSame(name, "origin")) {
    request.origin = value;
  } else if (IsSame(name, "sec-fetch-site")) {
    request.fetch_site = value;
  } else if (IsSame(name, "sec-fetch-mode")) {
    request.fetch_mode = value;
  }
  return true;
}

bool ReadHead(std::string_view head, Request& request) {
  std::size_t end = head.find(kLineEnd);
  if (!ReadRequestLine(head.substr(0, end), request)) return false;
  bool has_host = false;
  while (end != std::string_view::npos) {
    head.remove_prefix(end + kLineEnd.size());
    end = head.find(kLineEnd);
    if (!ReadField(head.substr(0, end), has_host, request)) return false;
  }
  return has_host || !request.is_http_1_1;
}

}  // namespace

bool DecodePercent(std::string_view text, std::string& decoded) {
  decoded.clear();
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '%') {
      decoded += text[at] == '+' ? ' ' : text[at];
      continue;
    }
    if (at + 2 >= text.size()) return false;
    const int high = HexDigit(text[at + 1]);
    const int low = HexDigit(text[at + 2]);
    if (high < 0 || low < 0) return false;
    decoded += static_cast<char>(high * 16 + low);
    at += 2;
  }
  return true;
}

std::string_view Request::Value(std::string_view key) const {
  for (const Parameter& parameter : parameters) {
    if (parameter.key == key) return parameter.value;
  }
  return {};
}

RequestState ReadRequest(std::string_view bytes, Request& request) {
  const std::size_t end = bytes.find(kHeadEnd);
  if (end == std::string_view::npos) {
    return bytes.size() > kLargestRequest ? RequestState::kTooLarge : RequestState::kUnfinished;
  }
  if (end + kHeadEnd.size() > kLargestRequest) return RequestState::kTooLarge;
  if (end + kHeadEnd.size() != bytes.size()) return RequestState::kBad;
  request = Request();
  return ReadHead(bytes.substr(0, end), request) ? RequestState::kWhole : RequestState::kBad;
}

}  // namespace page
