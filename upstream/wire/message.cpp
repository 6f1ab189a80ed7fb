#include "upstream/wire/message.h"

#include <algorithm>

namespace upstream {
namespace {

constexpr std::size_t kIdBytes = 2;
constexpr std::size_t kFlags = 2;  // offset of the first flag byte
constexpr std::size_t kMoreFlags = 3;
constexpr std::size_t kQuestionCount = 4;
constexpr std::size_t kTypeAndClassBytes = 4;
constexpr std::size_t kMostNameBytes = 255;
constexpr std::uint8_t kLongestLabel = 63;

constexpr std::uint8_t kResponseFlag = 0x80;
constexpr std::uint8_t kOperationAndRecursionDesired = 0x79;
constexpr std::uint8_t kTruncatedFlag = 0x02;
constexpr std::uint8_t kRecursionAvailable = 0x80;
constexpr std::uint8_t kServerFailure = 2;

bool SameLetters(std::uint8_t a, std::uint8_t b) {
  const auto folded = [](std::uint8_t c) {
    return c >= 'A' && c <= 'Z' ? static_cast<std::uint8_t>(c | 0x20) : c;
  };
  return folded(a) == folded(b);
}

}  // namespace

bool HasHeader(View message) { return message.count >= kHeaderBytes; }

bool IsResponse(View message) { return (message.bytes[kFlags] & kResponseFlag) != 0; }

bool IsTruncated(View message) { return (message.bytes[kFlags] & kTruncatedFlag) != 0; }

std::optional<std::size_t> QuestionEnd(View message) {
  if (!HasHeader(message) || message.bytes[kQuestionCount] != 0 ||
      message.bytes[kQuestionCount + 1] != 1) {
    return std::nullopt;
  }
  std::size_t at = kHeaderBytes;
  while (at < message.count && message.bytes[at] != 0) {
    if (message.bytes[at] > kLongestLabel) return std::nullopt;
    at += 1U + message.bytes[at];
  }
  const std::size_t end = at + 1 + kTypeAndClassBytes;
  if (end > message.count || at + 1 - kHeaderBytes > kMostNameBytes) return std::nullopt;
  return end;
}

bool CanBeAsked(View query) {
  return HasHeader(query) && !IsResponse(query) && QuestionEnd(query).has_value();
}

Bytes ServerFailure(View query) {
  const std::size_t end = QuestionEnd(query).value_or(kHeaderBytes);
  Bytes response(end);
  std::copy_n(query.bytes, kQuestionCount, response.begin());
  std::copy_n(query.bytes + kHeaderBytes, end - kHeaderBytes, response.begin() + kHeaderBytes);
  response[kQuestionCount + 1] = end > kHeaderBytes ? 1 : 0;
  response[kFlags] =
      static_cast<std::uint8_t>(kResponseFlag | (response[kFlags] & kOperationAndRecursionDesired));
  response[kMoreFlags] = kRecursionAvailable | kServerFailure;
  return response;
}

void RestoreAsker(View query, Bytes& response) {
  std::copy_n(query.bytes, kIdBytes, response.begin());
  const auto end = QuestionEnd(query);
  if (!end || QuestionEnd({response.data(), response.size()}) != end) return;
  if (!std::equal(query.bytes + kHeaderBytes, query.bytes + *end, response.begin() + kHeaderBytes,
                  SameLetters)) {
    return;
  }
  std::copy(query.bytes + kHeaderBytes, query.bytes + *end, response.begin() + kHeaderBytes);
}

}  // namespace upstream
