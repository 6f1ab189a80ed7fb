#include "common/trace/line_table.h"

#include <algorithm>
#include <charconv>

#include "dns_proxy_mac/trace/lines.h"

namespace ctl {
namespace {

constexpr LineRow MakeRow(Line line, std::string_view text, std::string_view roles) {
  LineRow row{line, roles, {}};
  for (std::size_t at = 0; at < roles.size(); ++at) {
    // Not text.find: g++ with -fsanitize=undefined takes its look at a pointer for no constant.
    std::size_t field = 0;
    while (text[field] != '%') ++field;
    row.plain[at] = text.substr(0, field);
    text.remove_prefix(field + 2);
  }
  row.plain[roles.size()] = text;
  return row;
}

// In the order of `Line`.
constexpr LineRow kRows[kLines] = {
    MakeRow(Line::kReadDnsLine, trace::kReadDnsLine, "t"),
    MakeRow(Line::kReadHostmapLine, trace::kReadHostmapLine, "t"),
    MakeRow(Line::kConfigurationCounts, trace::kConfigurationCounts, "nn"),
    MakeRow(Line::kNothingConfigured, trace::kNothingConfigured, ""),
    MakeRow(Line::kServiceStartFailed, trace::kServiceStartFailed, ""),
    MakeRow(Line::kServiceEnded, trace::kServiceEnded, ""),
    MakeRow(Line::kSocketInvalid, trace::kSocketInvalid, ""),
    MakeRow(Line::kBindFailed, trace::kBindFailed, "tn"),
    MakeRow(Line::kBindSucceeded, trace::kBindSucceeded, "tn"),
    MakeRow(Line::kHostMapPairAdded, trace::kHostMapPairAdded, "tt"),
    MakeRow(Line::kServerAdded, trace::kServerAdded, "t"),
    MakeRow(Line::kAnswerThreadNotCreated, trace::kAnswerThreadNotCreated, ""),
    MakeRow(Line::kAnswerThreadCreated, trace::kAnswerThreadCreated, ""),
    MakeRow(Line::kQueryThreadNotCreated, trace::kQueryThreadNotCreated, ""),
    MakeRow(Line::kQueryThreadCreated, trace::kQueryThreadCreated, ""),
    MakeRow(Line::kAnswerSocketInvalid, trace::kAnswerSocketInvalid, ""),
    MakeRow(Line::kAnswerSelectFailed, trace::kAnswerSelectFailed, ""),
    MakeRow(Line::kAnswerSelectTimedOut, trace::kAnswerSelectTimedOut, ""),
    MakeRow(Line::kResponseReadable, trace::kResponseReadable, ""),
    MakeRow(Line::kRelayEnded, trace::kRelayEnded, ""),
    MakeRow(Line::kQuerySocketInvalid, trace::kQuerySocketInvalid, ""),
    MakeRow(Line::kQuerySelectFailed, trace::kQuerySelectFailed, ""),
    MakeRow(Line::kQueryReadable, trace::kQueryReadable, ""),
    MakeRow(Line::kResponseSocketUnusable, trace::kResponseSocketUnusable, ""),
    MakeRow(Line::kNoResponseReceived, trace::kNoResponseReceived, ""),
    MakeRow(Line::kResponseReceived, trace::kResponseReceived, "na"),
    MakeRow(Line::kResponseTooShort, trace::kResponseTooShort, "na"),
    MakeRow(Line::kResponseWithoutRequest, trace::kResponseWithoutRequest, "ai"),
    MakeRow(Line::kResponseFromWrongSource, trace::kResponseFromWrongSource, "inae"),
    MakeRow(Line::kRelayNotSent, trace::kRelayNotSent, "in"),
    MakeRow(Line::kResponseRelayed, trace::kResponseRelayed, "qnnnnai"),
    MakeRow(Line::kResponseWithoutAnswer, trace::kResponseWithoutAnswer, "aiq"),
    MakeRow(Line::kQuerySocketUnusable, trace::kQuerySocketUnusable, ""),
    MakeRow(Line::kNoQueryReceived, trace::kNoQueryReceived, ""),
    MakeRow(Line::kQueryReceived, trace::kQueryReceived, "na"),
    MakeRow(Line::kQueryTooShort, trace::kQueryTooShort, "a"),
    MakeRow(Line::kQuestionCountRead, trace::kQuestionCountRead, "n"),
    MakeRow(Line::kQuestionCountRefused, trace::kQuestionCountRefused, "na"),
    MakeRow(Line::kDomainEmpty, trace::kDomainEmpty, "a"),
    MakeRow(Line::kDomainDecoded, trace::kDomainDecoded, "q"),
    MakeRow(Line::kRequestFiled, trace::kRequestFiled, "qi"),
    MakeRow(Line::kLabelLengthNegative, trace::kLabelLengthNegative, "n"),
    MakeRow(Line::kLabelOverflowsName, trace::kLabelOverflowsName, "n"),
    MakeRow(Line::kDotOverflowsName, trace::kDotOverflowsName, "n"),
    MakeRow(Line::kNextMethodTried, trace::kNextMethodTried, "in"),
    MakeRow(Line::kRequestToAdvanceNotFound, trace::kRequestToAdvanceNotFound, "i"),
    MakeRow(Line::kMethodPosition, trace::kMethodPosition, "nn"),
    MakeRow(Line::kMethodType, trace::kMethodType, "n"),
    MakeRow(Line::kForwardFailed, trace::kForwardFailed, "in"),
    MakeRow(Line::kFoundInHostMap, trace::kFoundInHostMap, "qnnnni"),
    MakeRow(Line::kHostMapAnswerNotSent, trace::kHostMapAnswerNotSent, ""),
    MakeRow(Line::kMethodsExhausted, trace::kMethodsExhausted, ""),
    MakeRow(Line::kNoSuchNameNotSent, trace::kNoSuchNameNotSent, "i"),
};

constexpr bool RowsAreInOrder() {
  for (std::size_t at = 0; at < kLines; ++at) {
    if (kRows[at].line != static_cast<Line>(at)) return false;
  }
  return true;
}
static_assert(RowsAreInOrder());

constexpr std::size_t kLongestAddress = 45;
constexpr std::int64_t kHighestId = 65535;

Fit TakePlain(std::string_view plain, std::string_view text, std::size_t& at) {
  const std::string_view rest = text.substr(at, plain.size());
  if (rest.size() < plain.size()) {
    return plain.substr(0, rest.size()) == rest ? Fit::kMore : Fit::kNo;
  }
  if (rest != plain) return Fit::kNo;
  at += plain.size();
  return Fit::kYes;
}

// Decimal, with or without a sign.
Fit TakeNumber(std::string_view text, std::size_t& at, std::int64_t& number) {
  constexpr std::size_t kMostDigits = 18;
  std::size_t end = at;
  const bool is_negative = end < text.size() && text[end] == '-';
  if (is_negative) ++end;
  const std::size_t first = end;
  number = 0;
  while (end < text.size() && text[end] >= '0' && text[end] <= '9' && end - first < kMostDigits) {
    number = number * 10 + (text[end++] - '0');
  }
  if (end == text.size()) return Fit::kMore;
  if (end == first) return Fit::kNo;
  if (is_negative) number = -number;
  at = end;
  return Fit::kYes;
}

bool IsOfIpv6Alone(char character) {
  return character == ':' || (character >= 'a' && character <= 'f');
}

// As the proxy prints it: empty, four numbers, or IPv6.
Fit TakeAddress(std::string_view text, std::size_t& at, std::string_view& address) {
  std::size_t end = at;
  std::size_t dots = 0;
  bool is_ipv6 = false;
  for (; end < text.size() && end - at <= kLongestAddress; ++end) {
    const char character = text[end];
    if (character == '.') {
      ++dots;
    } else if (IsOfIpv6Alone(character)) {
      is_ipv6 = true;
    } else if (character < '0' || character > '9') {
      break;
    }
  }
  if (end - at > kLongestAddress) return Fit::kNo;
  if (end == text.size()) return Fit::kMore;
  if (end > at && dots != 3 && !is_ipv6) return Fit::kNo;
  address = text.substr(at, end - at);
  at = end;
  return Fit::kYes;
}

// `plain` is what follows the text.
Fit TakeText(std::string_view plain, std::string_view text, std::size_t& at, LineFields& fields) {
  const std::size_t line_end = text.find('\n', at);
  if (line_end == std::string_view::npos) return Fit::kMore;
  const std::size_t end = text.substr(0, line_end + 1).rfind(plain);
  if (end == std::string_view::npos || end < at) return Fit::kNo;
  fields.text = text.substr(at, end - at);
  at = end;
  return Fit::kYes;
}

Fit TakeField(const LineRow& row, std::size_t field, std::string_view text, LineFields& fields) {
  std::int64_t number = 0;
  switch (row.roles[field]) {
    case 'n':
      return TakeNumber(text, fields.size, fields.numbers[fields.number_count++]);
    case 'i': {
      const Fit fit = TakeNumber(text, fields.size, number);
      if (fit == Fit::kYes && (number < 0 || number > kHighestId)) return Fit::kNo;
      fields.id = static_cast<std::int32_t>(number);
      return fit;
    }
    case 'a':
      return TakeAddress(text, fields.size, fields.address);
    case 'e':
      return TakeAddress(text, fields.size, fields.expected);
    default:
      return TakeText(row.plain[field + 1], text, fields.size, fields);
  }
}

constexpr std::string_view kPrefix = "func: ";
constexpr std::string_view kBeforeNumber = "(line:";
constexpr std::size_t kLongestFunction = 40;
constexpr std::size_t kNumbers = 704;  // one more than the highest message number

// The message number of a line, 0 when it has none.
std::size_t NumberOf(std::string_view text) {
  if (text.substr(0, kPrefix.size()) != kPrefix) return 0;
  text = text.substr(0, kPrefix.size() + kLongestFunction);
  const std::size_t open = text.find(kBeforeNumber);
  if (open == std::string_view::npos) return 0;
  std::size_t number = 0;
  text.remove_prefix(open + kBeforeNumber.size());
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number < kNumbers ? number : 0;
}

struct RowIndex {
  RowIndex() {
    for (const LineRow& row : kRows) {
      const std::size_t number = NumberOf(row.plain[0]);
      if (number > 0) by_number[number] = &row;
    }
  }
  std::array<const LineRow*, kNumbers> by_number{};
};

bool BeginsWith(std::string_view text, const LineRow& row) {
  return text.substr(0, row.plain[0].size()) == row.plain[0];
}

}  // namespace

const LineRow& RowOf(Line line) { return kRows[static_cast<std::size_t>(line)]; }

Fit Recognise(std::string_view text, const LineRow* likely, const LineRow*& row) {
  static const RowIndex index;
  row = likely;
  if (row != nullptr && BeginsWith(text, *row)) return Fit::kYes;
  row = index.by_number[NumberOf(text)];
  if (row != nullptr && BeginsWith(text, *row)) return Fit::kYes;
  bool needs_more = false;
  for (const LineRow& other : kRows) {
    row = &other;
    if (BeginsWith(text, other)) return Fit::kYes;
    needs_more = needs_more || other.plain[0].substr(0, text.size()) == text;
  }
  return needs_more ? Fit::kMore : Fit::kNo;
}

Fit TakeFields(const LineRow& row, std::string_view text, std::size_t& first, LineFields& fields) {
  for (;; ++first) {
    const bool is_taken = first == 0 && fields.size == row.plain[0].size();
    Fit fit = is_taken ? Fit::kYes : TakePlain(row.plain[first], text, fields.size);
    if (fit != Fit::kYes || first == row.roles.size()) return fit;
    if (row.roles[first] == 'q') return Fit::kYes;
    fit = TakeField(row, first, text, fields);
    if (fit != Fit::kYes) return fit;
  }
}

Fit TakeLine(const LineRow& row, std::string_view text, LineFields& fields) {
  std::size_t first = 0;
  return TakeFields(row, text, first, fields);
}

}  // namespace ctl
