#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ctl {

/// Which line of the trace it is. The names are those of the texts in dns_proxy_mac/trace/lines.h.
enum class Line : std::uint8_t {
  kReadDnsLine,
  kReadHostmapLine,
  kConfigurationCounts,
  kNothingConfigured,
  kServiceStartFailed,
  kServiceEnded,
  kSocketInvalid,
  kBindFailed,
  kBindSucceeded,
  kHostMapPairAdded,
  kServerAdded,
  kAnswerThreadNotCreated,
  kAnswerThreadCreated,
  kQueryThreadNotCreated,
  kQueryThreadCreated,
  kAnswerSocketInvalid,
  kAnswerSelectFailed,
  kAnswerSelectTimedOut,
  kResponseReadable,
  kRelayEnded,
  kQuerySocketInvalid,
  kQuerySelectFailed,
  kQueryReadable,
  kResponseSocketUnusable,
  kNoResponseReceived,
  kResponseReceived,
  kResponseTooShort,
  kResponseWithoutRequest,
  kResponseFromWrongSource,
  kRelayNotSent,
  kResponseRelayed,
  kResponseWithoutAnswer,
  kQuerySocketUnusable,
  kNoQueryReceived,
  kQueryReceived,
  kQueryTooShort,
  kQuestionCountRead,
  kQuestionCountRefused,
  kDomainEmpty,
  kDomainDecoded,
  kRequestFiled,
  kLabelLengthNegative,
  kLabelOverflowsName,
  kDotOverflowsName,
  kNextMethodTried,
  kRequestToAdvanceNotFound,
  kMethodPosition,
  kMethodType,
  kForwardFailed,
  kFoundInHostMap,
  kHostMapAnswerNotSent,
  kMethodsExhausted,
  kNoSuchNameNotSent,
};
inline constexpr std::size_t kLines = static_cast<std::size_t>(Line::kNoSuchNameNotSent) + 1;

/// One line as the proxy prints it, cut at its fields.
struct LineRow {
  static constexpr std::size_t kMostFields = 7;

  Line line;
  /// One letter a field, in their order: n a number, i the proxy's id of a query, a an address, e
  /// the address that was expected, t a text of the configuration, which runs up to the last place
  /// where the line goes on as it must, q a name that somebody has asked for.
  std::string_view roles;
  /// The plain text in front of each field, then that behind the last one with the line end.
  std::array<std::string_view, kMostFields + 1> plain;
};

const LineRow& RowOf(Line line);

/// What a line holds. The texts point into the trace.
struct LineFields {
  static constexpr std::int32_t kNoId = -1;

  Line line = Line::kReadDnsLine;
  std::int32_t id = kNoId;
  std::array<std::int64_t, 5> numbers{};
  std::size_t number_count = 0;
  std::string_view address;
  std::string_view expected;
  std::string_view text;    ///< of the configuration or a name
  bool is_of_next = false;  ///< names the next query, which no line of its own has shown yet
  std::size_t size = 0;     ///< in bytes, the line end included
};

/// Whether text agrees with what was looked for. kMore: it may, but more of it is needed to tell.
enum class Fit : std::uint8_t { kNo, kMore, kYes };

/// Which line `text` begins with, told by the plain text in front of its first field. `likely` is
/// tried first: lines mostly come in the same order.
Fit Recognise(std::string_view text, const LineRow* likely, const LineRow*& row);

/// Takes the fields of `row` from `first` on out of `text`, of which `fields.size` bytes have been
/// taken already, and all plain text in front of them. Stops in front of a name ('q'), at the field
/// whose number is then `first`; otherwise `first` is one past the last.
/// With `fields.size` the size of the row's first plain text, that has been taken already.
Fit TakeFields(const LineRow& row, std::string_view text, std::size_t& first, LineFields& fields);

/// TakeFields from the first field on, for a row without a name.
Fit TakeLine(const LineRow& row, std::string_view text, LineFields& fields);

}  // namespace ctl
